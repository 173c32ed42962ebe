#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/SharedLibraryException.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BundleFiles.h"
#include "Fixtures.h"
#include "Probe.h"

namespace {

using bundle_test::bundle;
using bundle_test::Bundles;
using bundle_test::manifest;
using bundle_test::RunningFramework;
using bundle_test::text;
using bundle_test::textOf;
using bundle_test::writeLibrary;
using bundle_test::writeZip;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::Bundle;
using cppmicroservices::SharedLibraryException;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

std::filesystem::path const probeLibrary = PROBE_LIBRARY;

TEST_F(Bundles, WithoutCodeStart) {
    start();
    Bundle bundle =
        install(writeZip(folder.path() / "a.zip", bundle_test::bundle("a", R"("bundle.activator": false)")));
    bundle.Start();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
    EXPECT_TRUE(bundle.GetBundleContext());
    bundle.Stop();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
    EXPECT_FALSE(bundle.GetBundleContext());
}

TEST_F(Bundles, TakeAManifestFromTheCaller) {
    start();
    std::string const location = text(folder.path() / "plain.so");
    std::filesystem::copy_file(probeLibrary, location);
    AnyMap const headers = {{"bundle.symbolic_name", Any(std::string("probe"))},
                            {"bundle.activator", Any(true)}};
    auto bundles = running->context().InstallBundles(location, {{"probe", Any(headers)}});
    ASSERT_EQ(bundles.size(), 1U);
    EXPECT_EQ(bundles[0].GetSymbolicName(), "probe");
    bundles[0].Start();
    EXPECT_THAT(journal->lines(), ElementsAre("start 0.0.0"));
}

TEST_F(Bundles, RunTheirCodeWhenTheyAreStartedAndStopped) {
    start();
    Bundle bundle = install(probeFile());
    EXPECT_THAT(journal->lines(), IsEmpty()) << "installing runs nothing";
    bundle.Start();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
    bundle.Start();
    EXPECT_THAT(journal->lines(), ElementsAre("start 1.2.3")) << "a second start does nothing";
    bundle.Stop();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
    bundle.Stop();
    auto const lines = journal->lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "stop 1.2.3"), 1);
    bundle.Start(0);
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
    bundle.Stop(0);
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(Bundles, RunNoCodeUnlessTheActivatorIsTheWordTrue) {
    start();
    int version = 0;
    for (char const* const activator : {"\"true\"", "1", "false"}) {
        SCOPED_TRACE(activator);
        ++version;
        Bundle bundle = install(writeLibrary(folder.path() / (std::to_string(version) + ".so"),
                                             probeLibrary,
                                             bundle_test::bundle("probe",
                                                                 std::string("\"bundle.activator\": ") +
                                                                     activator + ", \"bundle.version\": \"" +
                                                                     std::to_string(version) + "\"")));
        bundle.Start();
        EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
    }
    EXPECT_THAT(journal->lines(), IsEmpty());
}

TEST_F(Bundles, FindTheLibrariesThatLieBesideThem) {
    start();
    Bundle bundle = install(BUILT_DEPENDENT);
    bundle.Start();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
}

TEST_F(Bundles, WhoseCodeCannotBeLoadedDoNotStart) {
    start();
    auto const location = writeZip(folder.path() / "a.zip", bundle("a", R"("bundle.activator": true)"));
    Bundle bundle = install(location);
    EXPECT_THAT(textOf<SharedLibraryException>([&] { bundle.Start(); }),
                StartsWith("Error loading " + location));
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
    try {
        bundle.Start();
        FAIL();
    } catch (SharedLibraryException const& error) {
        EXPECT_TRUE(error.GetBundle() == bundle);
#if defined(_WIN32)
        EXPECT_NE(error.code().value(), 0) << "the system gives its reason as a number";
#else
        EXPECT_TRUE(error.code() == std::make_error_code(std::errc()));
#endif
    }

#if defined(__linux__)
    EXPECT_THAT(textOf<std::system_error>([&] { bundle.Start(); }), EndsWith(": Success: Success"));
#endif
}

TEST_F(Bundles, WithoutTheirActivatorDoNotStart) {
    start();
    auto const location =
        writeLibrary(folder.path() / "a.so", probeLibrary, bundle("other", R"("bundle.activator": true)"));
    Bundle bundle = install(location);
    EXPECT_EQ(textOf<std::runtime_error>([&] { bundle.Start(); }),
              "Bundle other (location= " + location + ") start failed: Bundle other (location=" + location +
                  ") activator constructor not found");
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(Bundles, WhoseActivatorThrowsDoNotStart) {
    start({{"probe.start", Any(std::string("boom"))}, {"probe.greeter", Any(true)}});
    auto const location = probeFile();
    Bundle bundle = install(location);
    EXPECT_EQ(textOf<std::runtime_error>([&] { bundle.Start(); }),
              "Bundle probe (location= " + location + ") start failed: boom");
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
    EXPECT_FALSE(bundle.GetBundleContext());
    EXPECT_THAT(bundle.GetRegisteredServices(), IsEmpty()) << "what it registered first is taken back";
    EXPECT_FALSE(running->context().GetServiceReference<probe::Greeter>());
}

TEST_F(Bundles, WhoseActivatorThrowsWhatIsNoExceptionDoNotStart) {
    start({{"probe.start", Any(std::string("number"))}});
    auto const location = probeFile();
    Bundle bundle = install(location);
    EXPECT_EQ(textOf<std::runtime_error>([&] { bundle.Start(); }),
              "Bundle probe (location= " + location + ") start failed: unknown");
}

TEST_F(Bundles, ThatFailedToStartLoseTheirActivatorWhenUninstalled) {
    start({{"probe.start", Any(std::string("boom"))}});
    Bundle bundle = install(probeFile());
    EXPECT_THROW(bundle.Start(), std::runtime_error);
    EXPECT_THAT(journal->lines(), ElementsAre("start 1.2.3"))
        << "it lives as long as the bundle is installed";
    bundle.Uninstall();
    EXPECT_THAT(journal->lines(), ElementsAre("start 1.2.3", "destroy 1.2.3"));
}

TEST_F(Bundles, WhoseActivatorThrowsWhenStoppedStopAllTheSame) {
    start({{"probe.stop", Any(std::string("bang"))}, {"probe.greeter", Any(true)}});
    auto const location = probeFile();
    Bundle bundle = install(location);
    bundle.Start();
    EXPECT_EQ(bundle.GetRegisteredServices().size(), 1U);
    EXPECT_EQ(textOf<std::runtime_error>([&] { bundle.Stop(); }),
              "Bundle probe (location=" + location + "), BundleActivator::Stop() failed: bang");
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
    EXPECT_THAT(bundle.GetRegisteredServices(), IsEmpty());
}

TEST_F(Bundles, CanBeUninstalled) {
    start();
    auto const location = probeFile();
    Bundle bundle = install(location);
    bundle.Start();
    bundle.Uninstall();
    auto const lines = journal->lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "stop 1.2.3"), 1);
    EXPECT_TRUE(bundle) << "the handle is still good for looking";
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_UNINSTALLED);
    EXPECT_EQ(bundle.GetLocation(), location);
    EXPECT_EQ(bundle.GetHeaders().at("bundle.symbolic_name").ToString(), "probe");
    std::string const reason = "Bundle probe (location=" + location + ") is uninstalled";
    EXPECT_EQ(textOf<std::logic_error>([&] { bundle.Start(); }), reason);
    EXPECT_EQ(textOf<std::logic_error>([&] { bundle.Stop(); }), reason);
    EXPECT_EQ(textOf<std::logic_error>([&] { bundle.Uninstall(); }),
              "Bundle probe (location=" + location + ") is in BUNDLE_UNINSTALLED state");
    EXPECT_EQ(textOf<std::logic_error>([&] { (void)bundle.GetRegisteredServices(); }),
              "Bundle probe (location=" + location + ") is in UNINSTALLED state");
    EXPECT_THAT(running->context().GetBundles(location), IsEmpty());

    Bundle const again = install(location);
    EXPECT_FALSE(again == bundle);
    EXPECT_GT(again.GetBundleId(), bundle.GetBundleId());
}

TEST_F(Bundles, AreStoppedWithTheFrameworkInReverseOrderOfTheirLocations) {
    start();
    std::string const b = probeFile("b.so", "2.0.0");
    std::string const c = probeFile("c.so", "3.0.0");
    std::string const a = probeFile("a.so", "1.0.0");
    for (std::string const& location : {b, c, a}) {
        install(location).Start();
    }
    running->stop();
    std::vector<std::string> stops;
    for (std::string const& line : journal->lines()) {
        if (line.starts_with("stop")) stops.push_back(line);
    }
    EXPECT_THAT(stops, ElementsAre("stop 3.0.0", "stop 2.0.0", "stop 1.0.0"));
}

TEST_F(Bundles, MayBeStartedAndStoppedByTwoFrameworksAtOnce) {
    start();
    RunningFramework other({{"probe.journal", Any(journal)}});
    auto const location = probeFile();
    install(location).Start();
    auto bundles = other.context().InstallBundles(location);
    bundles.at(0).Start();
    EXPECT_THAT(journal->lines(), ElementsAre("start 1.2.3", "start 1.2.3"));
    other.stop();
    EXPECT_EQ(running->context().GetBundles(location).at(0).GetState(), Bundle::STATE_ACTIVE);
}

TEST_F(Bundles, KeepTheirServicesUsableAfterTheyStop) {
    start({{"probe.greeter", Any(true)}});
    Bundle bundle = install(probeFile());
    bundle.Start();
    auto const reference = running->context().GetServiceReference<probe::Greeter>();
    auto const greeter = running->context().GetService(reference);
    ASSERT_TRUE(greeter);
    EXPECT_TRUE(reference.GetBundle() == bundle);
    bundle.Uninstall();
    EXPECT_FALSE(reference);
    EXPECT_FALSE(reference.GetBundle());
    EXPECT_EQ(greeter->greet(), "hello") << "the code stays loaded";
}

TEST_F(Bundles, AreWrittenWithTheirState) {
    start();
    auto const location = writeZip(folder.path() / "a.zip", bundle("a"));
    Bundle bundle = install(location);
    auto const written = [&] {
        std::ostringstream out;
        out << bundle;
        return out.str();
    };
    std::string const begin = "Bundle[id=1, loc=" + location + ", name=a, state=";
    EXPECT_EQ(written(), begin + "INSTALLED]");
    bundle.Start();
    EXPECT_EQ(written(), begin + "ACTIVE]");
    bundle.Stop();
    EXPECT_EQ(written(), begin + "RESOLVED]");
    bundle.Uninstall();
    EXPECT_EQ(written(), begin + "UNINSTALLED]");
    std::ostringstream states;
    states << Bundle::STATE_STARTING << ' ' << Bundle::STATE_STOPPING;
    EXPECT_EQ(states.str(), "STARTING STOPPING");
}

TEST_F(Bundles, BuiltWithTheirManifestHaveItInTheirFile) {
    start();
    Bundle code = install(BUILT_PROBE);
    EXPECT_EQ(code.GetSymbolicName(), "probe");
    EXPECT_EQ(code.GetVersion().ToString(), "1.2.3");
    code.Start();
    EXPECT_THAT(journal->lines(), ElementsAre("start 1.2.3"));

    Bundle plain = install(BUILT_MANIFEST_ONLY);
    EXPECT_EQ(plain.GetSymbolicName(), "manifest.only");
    EXPECT_EQ(plain.GetHeaders().at("qz").ToJSON(), R"({"features" : [{"name" : "Alpha"}]})");
    plain.Start();
    EXPECT_EQ(plain.GetState(), Bundle::STATE_ACTIVE);
}

}  // namespace
