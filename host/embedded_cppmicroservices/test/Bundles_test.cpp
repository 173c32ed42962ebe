#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/SharedLibraryException.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BundleFiles.h"
#include "Probe.h"

namespace {

using bundle_test::bundle;
using bundle_test::Entries;
using bundle_test::manifest;
using bundle_test::RunningFramework;
using bundle_test::TemporaryFolder;
using bundle_test::text;
using bundle_test::textOf;
using bundle_test::writeFile;
using bundle_test::writeLibrary;
using bundle_test::writeZip;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::Bundle;
using cppmicroservices::SharedLibraryException;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

std::filesystem::path const probeLibrary = PROBE_LIBRARY;

class Bundles : public testing::Test {
protected:
    Bundles() : journal(std::make_shared<probe::Journal>()) {}

    /// The file `name` with the code of the probe and a manifest that wants it to be run.
    std::string probeFile(std::string const& name = "probe.so", std::string const& version = "1.2.3") {
        return writeLibrary(
            folder.path() / name,
            probeLibrary,
            bundle("probe", R"("bundle.activator": true, "bundle.version": ")" + version + '"'));
    }

    void start(std::unordered_map<std::string, Any> properties = {}) {
        properties["probe.journal"] = journal;
        running = std::make_unique<RunningFramework>(properties);
    }

    Bundle install(std::string const& location) {
        auto const bundles = running->context().InstallBundles(location);
        EXPECT_EQ(bundles.size(), 1U);
        return bundles.at(0);
    }

    std::string refusal(std::string const& location) {
        return textOf<std::runtime_error>([&] { running->context().InstallBundles(location); });
    }

    TemporaryFolder folder;
    std::shared_ptr<probe::Journal> journal;
    std::unique_ptr<RunningFramework> running;
};

TEST_F(Bundles, AreInstalledFromAZipWithoutDirectoryEntries) {
    start();
    std::string const location =
        writeZip(folder.path() / "alpha.zip", bundle("alpha", R"("bundle.version": "1.2")"));
    Bundle const bundle = install(location);
    EXPECT_TRUE(bundle);
    EXPECT_EQ(bundle.GetSymbolicName(), "alpha");
    EXPECT_EQ(bundle.GetLocation(), location);
    EXPECT_EQ(bundle.GetVersion().ToString(), "1.2.0");
    EXPECT_EQ(bundle.GetBundleId(), 1);
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_INSTALLED);
    EXPECT_FALSE(bundle.GetBundleContext());
    EXPECT_EQ(bundle.GetHeaders().at("bundle.symbolic_name").ToString(), "alpha");
}

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

TEST_F(Bundles, OfOneFileComeInTheOrderOfTheirNames) {
    start();
    Entries entries = bundle("beta");
    entries.merge(bundle("alpha"));
    entries["top-level file"] = "is none";
    auto const location = writeZip(folder.path() / "two.zip", entries);
    auto const bundles = running->context().InstallBundles(location);
    ASSERT_EQ(bundles.size(), 2U);
    EXPECT_EQ(bundles[0].GetSymbolicName(), "alpha");
    EXPECT_EQ(bundles[1].GetSymbolicName(), "beta");
    EXPECT_EQ(running->context().GetBundles(location).size(), 2U);
    EXPECT_THAT(running->context().InstallBundles(location), ElementsAre(bundles[0], bundles[1]));
}

TEST_F(Bundles, OfTheSamePathAreInstalledOnce) {
    start();
    auto const location = writeZip(folder.path() / "a.zip", bundle("a"));
    Bundle const first = install(location);
    Bundle const again = install(location);
    EXPECT_TRUE(first == again);
    EXPECT_EQ(first.GetBundleId(), again.GetBundleId());
    Bundle const next = install(writeZip(folder.path() / "b.zip", bundle("b")));
    EXPECT_EQ(next.GetBundleId(), first.GetBundleId() + 1);
    EXPECT_TRUE(first < next);
}

TEST_F(Bundles, OfTheSameNameAndVersionAreRefused) {
    start();
    std::string const version = R"("bundle.version": "1.2.3")";
    writeZip(folder.path() / "a.zip", bundle("a", version));
    install(text(folder.path() / "a.zip"));
    std::string const otherSpelling = text(folder.path()) + "/./a.zip";
    std::string const otherFile = writeZip(folder.path() / "b.zip", bundle("a", version));
    for (std::string const& location : {otherSpelling, otherFile}) {
        EXPECT_EQ(refusal(location),
                  "Failed to install bundle library at " + location + ": Bundle a (location=" + location +
                      "), a bundle with same symbolic name and version is already installed (a, 1.2.3)");
    }
    EXPECT_TRUE(install(writeZip(folder.path() / "c.zip", bundle("a", R"("bundle.version": "2")"))));
}

TEST_F(Bundles, AreRefusedWhenTheirFileIsNone) {
    start();
    struct Row {
        char const* says;
        std::string location;
        std::string refusal;
    };
    std::string const file = text(folder.path() / "text.so");
    writeFile(folder.path() / "text.so", "no zip at all");
    std::string const corrupt = writeZip(folder.path() / "corrupt.zip", bundle("a"));
    std::filesystem::resize_file(corrupt, std::filesystem::file_size(corrupt) - 30);
    std::string const library = text(folder.path() / "library.so");
    std::filesystem::copy_file(probeLibrary, library);
    std::string const missing = text(folder.path() / "missing.so");
    std::string const flat = writeZip(folder.path() / "flat.zip", {{"manifest.json", manifest("flat")}});
    std::string const empty = writeZip(folder.path() / "empty.zip", {});
    Row const rows[] = {
        {"a missing file", missing, missing + " does not exist"},
        {"no file name", "", " does not exist"},
        {"a folder", text(folder.path()), "Could not init zip archive for bundle at " + text(folder.path())},
        {"a text file", file, "Could not init zip archive for bundle at " + file},
        {"a zip that is cut off", corrupt, "Could not init zip archive for bundle at " + corrupt},
        {"a library without a zip", library, "Could not init zip archive for bundle at " + library},
        {"a zip without folders", flat, "Invalid zip archive layout for bundle at " + flat},
        {"an empty zip", empty, "Invalid zip archive layout for bundle at " + empty},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(refusal(row.location), row.refusal);
    }
    EXPECT_EQ(running->context().GetBundles().size(), 1U) << "only the system bundle";
}

TEST_F(Bundles, AreRefusedWhenTheirManifestIsIncomplete) {
    start();
    struct Row {
        char const* says;
        std::string json;
        std::string reason;
    };
    std::string const location = text(folder.path() / "bundle.zip");
    std::string const place = "(location=" + location + ")";
    std::string const version = "The Json value for bundle.version for bundle name " + place;
    Row const rows[] = {
        {"no name",
         "{}",
         "bundle.symbolic_name is not defined in the bundle manifest for bundle name " + place + "."},
        {"an empty name",
         R"({"bundle.symbolic_name": ""})",
         "bundle.symbolic_name is empty in the bundle manifest for bundle name" + place + "."},
        {"a bad version",
         R"({"bundle.symbolic_name": "name", "bundle.version": "1.x"})",
         version + " is not valid: The version identifier is invalid: invalid format"},
        {"a version of too many parts",
         R"({"bundle.symbolic_name": "name", "bundle.version": "1.2.3.4.5"})",
         version + " is not valid: The version identifier is invalid: invalid format"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        std::filesystem::remove(location);
        writeZip(location, {{"name/manifest.json", row.json}});
        EXPECT_EQ(refusal(location), "Failed to install bundle library at " + location + ": " + row.reason);
    }

    std::filesystem::remove(location);
    writeZip(location, {{"name/manifest.json", R"({"bundle.symbolic_name": "name", "bundle.version": 1})"}});
    EXPECT_THAT(refusal(location), StartsWith("Failed to install bundle library at " + location));
    EXPECT_THAT(refusal(location), EndsWith("must be a string"));

    std::filesystem::remove(location);
    writeZip(location, {{"name/other.json", "{}"}});
    EXPECT_EQ(refusal(location),
              "Failed to install bundle library at " + location +
                  ": bundle.symbolic_name is not defined in the bundle manifest for bundle name " + place +
                  ".");
}

TEST_F(Bundles, AreNamedAfterTheirFolder) {
    start();
    Bundle const bundle = install(
        writeZip(folder.path() / "a.zip", {{"folder/manifest.json", R"({"bundle.symbolic_name": 5})"}}));
    EXPECT_EQ(bundle.GetSymbolicName(), "folder");
    EXPECT_EQ(bundle.GetVersion().ToString(), "0.0.0");
}

TEST_F(Bundles, OfOneFileAreInstalledAllOrNone) {
    start();
    Entries entries = bundle("good");
    entries["wrong/manifest.json"] = "{}";
    auto const location = writeZip(folder.path() / "two.zip", entries);
    EXPECT_THAT(refusal(location), HasSubstr("bundle.symbolic_name is not defined"));
    EXPECT_THAT(running->context().GetBundles(location), IsEmpty());
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
    EXPECT_THAT(running->context().GetBundles(location), IsEmpty());

    Bundle const again = install(location);
    EXPECT_FALSE(again == bundle);
    EXPECT_GT(again.GetBundleId(), bundle.GetBundleId());
}

TEST_F(Bundles, AreListedInTheOrderOfTheirLocations) {
    start();
    Bundle const second = install(writeZip(folder.path() / "b.zip", bundle("x")));
    Bundle const first = install(writeZip(folder.path() / "a.zip", bundle("y")));
    std::vector<std::string> names;
    for (Bundle const& bundle : running->context().GetBundles()) {
        if (bundle.GetBundleId() != 0) names.push_back(bundle.GetSymbolicName());
    }
    EXPECT_THAT(names, ElementsAre("y", "x"));
    EXPECT_TRUE(running->context().GetBundle(first.GetBundleId()) == first);
    EXPECT_TRUE(running->context().GetBundle(second.GetBundleId()) == second);
    EXPECT_FALSE(running->context().GetBundle(77));
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

TEST(AnInvalidBundle, RefusesEverything) {
    Bundle bundle;
    EXPECT_FALSE(bundle);
    EXPECT_TRUE(bundle == Bundle());
    std::vector<std::function<void()>> const members = {
        [&] { (void)bundle.GetState(); },
        [&] { (void)bundle.GetBundleContext(); },
        [&] { (void)bundle.GetBundleId(); },
        [&] { (void)bundle.GetLocation(); },
        [&] { (void)bundle.GetSymbolicName(); },
        [&] { (void)bundle.GetVersion(); },
        [&] { (void)bundle.GetHeaders(); },
        [&] { (void)bundle.GetRegisteredServices(); },
        [&] { bundle.Start(); },
        [&] { bundle.Stop(); },
        [&] { bundle.Uninstall(); },
    };
    for (auto const& member : members) {
        EXPECT_EQ(textOf<std::invalid_argument>(member), "invalid bundle");
    }
}

TEST_F(Bundles, AreCopiedMovedAndLetGo) {
    start();
    Bundle bundle = install(writeZip(folder.path() / "a.zip", bundle_test::bundle("a")));
    Bundle copy = bundle;
    EXPECT_TRUE(copy == bundle);
    Bundle const moved = std::move(copy);
    EXPECT_TRUE(moved == bundle);
    bundle = nullptr;
    EXPECT_FALSE(bundle);
    EXPECT_TRUE(moved != bundle);
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
