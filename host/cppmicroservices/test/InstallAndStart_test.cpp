#include "InstallAndStartTest.hpp"

#include <foundation/fctrl_ext/Registration.hpp>
#include <foundation/json/parse.hpp>

#include <support/Latch.hpp>
#include <support/LogCapture.hpp>
#include <support/ScopedEnvironment.hpp>

#include "BundleFiles.h"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/IllegalStateException.h>
#include <cppmicroservices/ServiceException.h>
#include <cppmicroservices/ServiceTracker.h>
#include <cppmicroservices/SharedLibraryException.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace foundation::cppmicroservices {
namespace {

namespace fs = std::filesystem;
using bundle_test::bundle;
using bundle_test::Entries;
using bundle_test::RunningFramework;
using bundle_test::TemporaryFolder;
using bundle_test::text;
using bundle_test::writeFile;
using bundle_test::writeZip;
using ::cppmicroservices::Any;
using ::cppmicroservices::Bundle;
using ::cppmicroservices::Framework;
using installation_test::InstallAndStart;
using installation_test::names;
using test::LogCapture;
using test::ScopedEnvironment;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(TheFramework, IsTheOneThatTheHostHasGiven) {
    EXPECT_FALSE(getFramework());
    RunningFramework running;
    auto const framework = std::make_shared<Framework>(running.framework);
    setFramework(framework);
    EXPECT_EQ(getFramework(), framework);
    auto const other = std::make_shared<Framework>(running.framework);
    setFramework(other);
    EXPECT_EQ(getFramework(), other);
    EXPECT_EQ(framework.use_count(), 1);
    setFramework(nullptr);
    EXPECT_FALSE(getFramework());
    EXPECT_EQ(other.use_count(), 1);
}

TEST(TheFramework, IsGivenAndAskedForByAnyThread) {
    RunningFramework running;
    foundation::test::Latch start(4);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            start.arriveAndWait();
            for (int round = 0; round < 100; ++round) {
                if (i == 0)
                    setFramework(round % 2 == 0 ? std::make_shared<Framework>(running.framework) : nullptr);
                auto const framework = getFramework();
                EXPECT_TRUE(!framework || framework->GetBundleId() == 0);
            }
        });
    }
    threads.clear();
    setFramework(nullptr);
}

TEST_F(InstallAndStart, GivesTheBundlesOfAFolderInTheOrderOfTheFileNames) {
    writeZip(folder / "b.zip", bundle("first.by.name"));
    writeZip(folder / "a.zip", bundle("second.by.name"));
    writeZip(folder / "C.zip", bundle("capital"));
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("capital", "second.by.name", "first.by.name"));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(InstallAndStart, TakesFilesWithFourEndingsOnly) {
    for (std::string const name :
         {"x.dll", "x.so", "x.dylib", "x.zip", "x.so.1", "x.txt", "capital.ZIP", "xzip", "x.jar", "x"}) {
        writeZip(folder / name, bundle(name));
    }
    writeFile(folder / "notes.txt", "no bundle at all");
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("x.dll", "x.dylib", "x.so", "x.zip"));
    EXPECT_THAT(logged(), IsEmpty()) << "the others are no failures";
}

TEST_F(InstallAndStart, TakesNoFolders) {
    fs::create_directory(folder / "folder.so");
    writeZip(folder / "folder.so" / "inner.zip", bundle("inner"));
    EXPECT_THAT(installAndStart("bundles"), IsEmpty());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(InstallAndStart, GivesNothingForAMissingFolder) {
    EXPECT_THAT(installAndStart("missing"), IsEmpty());
    EXPECT_THAT(installAndStart("missing/too"), IsEmpty());
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(InstallAndStart, LogsWhatIsNoFolder) {
    writeFile(root.path() / "file", "");
    EXPECT_THAT(installAndStart("file"), IsEmpty());
    ASSERT_EQ(logged().size(), 1U);
    EXPECT_TRUE(logged()[0].starts_with("left out " + text(root.path() / "file") + ": ")) << logged()[0];
}

TEST_F(InstallAndStart, LeavesOutABrokenBundleAndLogsIt) {
    writeZip(folder / "a.zip", bundle("a"));
    writeFile(folder / "b.so", "broken");
    writeZip(folder / "c.zip", bundle("c"));
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("a", "c"));
    std::string const file = text(folder / "b.so");
    EXPECT_THAT(logged(),
                ElementsAre("left out " + file + ": Could not init zip archive for bundle at " + file));
}

TEST_F(InstallAndStart, GivesAllBundlesOfAFile) {
    Entries entries = bundle("beta");
    entries.merge(bundle("alpha"));
    writeZip(folder / "two.zip", entries);
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("alpha", "beta"));
}

TEST_F(InstallAndStart, LeavesOutOneBundleOfAFileThatDoesNotStart) {
    Entries entries = bundle("alpha");
    entries.merge(bundle("beta", R"("bundle.activator": true)"));  // A zip has no code.
    entries.merge(bundle("gamma"));
    writeZip(folder / "three.zip", entries);
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("alpha", "gamma"));
    ASSERT_EQ(logged().size(), 1U);
    std::string const file = text(folder / "three.zip");
    EXPECT_TRUE(logged()[0].starts_with("left out " + file + ": Error loading " + file)) << logged()[0];
}

TEST_F(InstallAndStart, GivesTheSameBundlesAgain) {
    writeZip(folder / "a.zip", bundle("a"));
    writeZip(folder / "b.zip", bundle("b"));
    auto const first = installAndStart("bundles");
    EXPECT_EQ(first.size(), 2U);
    for (char const* const spelling :
         {"bundles", "./bundles", "bundles/", "bundles/../bundles", "other//../bundles"}) {
        SCOPED_TRACE(spelling);
        EXPECT_EQ(installAndStart(spelling), first);
    }
    EXPECT_EQ(installAndStart(folder), first) << "also by the whole path";
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(InstallAndStart, StartsABundleAgainThatWasStopped) {
    writeZip(folder / "a.zip", bundle("a"));
    auto first = installAndStart("bundles");
    first.at(0).Stop();
    auto const second = installAndStart("bundles");
    EXPECT_EQ(second, first);
    EXPECT_EQ(second.at(0).GetState(), Bundle::STATE_ACTIVE);
}

TEST_F(InstallAndStart, FindsBundlesThatHaveComeMeanwhile) {
    writeZip(folder / "b.zip", bundle("b"));
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("b"));
    writeZip(folder / "a.zip", bundle("a"));
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("a", "b"));
}

TEST_F(InstallAndStart, MakesTheServicesOfABundleAvailable) {
    fs::copy_file(REGISTERING_BUNDLE, folder / "registering.so");
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("registering"));
    EXPECT_THAT(logged(), IsEmpty());
    auto context = running.context();
    ::cppmicroservices::ServiceTracker<fctrl_ext::Registration> tracker(context);
    tracker.Open();
    auto const references = tracker.GetServiceReferences();
    ASSERT_EQ(references.size(), 1U);
    auto const registration = context.GetService(references[0]);
    ASSERT_TRUE(registration);
    try {
        registration->addFeaturesOnce();
        FAIL() << "the bundle's own code must run";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "asked");
    }
    EXPECT_NE(dynamic_cast<fctrl_ext::Registration*>(registration.get()), nullptr);
}

class InstallAndStartOfAFailingBundle : public InstallAndStart {
protected:
    InstallAndStartOfAFailingBundle() : InstallAndStart({{"registering.fails", Any(true)}}) {}
};

TEST_F(InstallAndStartOfAFailingBundle, LogsWhatItsActivatorSays) {
    fs::copy_file(REGISTERING_BUNDLE, folder / "a.so");
    writeZip(folder / "b.zip", bundle("b"));
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("b"));
    std::string const file = text(folder / "a.so");
    EXPECT_THAT(logged(),
                ElementsAre("left out " + file + ": Bundle registering (location= " + file +
                            ") start failed: told to fail"));
}

class InstallAndStartOfAnAnsweringBundle : public InstallAndStart {
protected:
    using Step = std::shared_ptr<std::function<void()>>;

    InstallAndStartOfAnAnsweringBundle()
        : InstallAndStartOfAnAnsweringBundle(std::make_shared<std::function<void()>>()) {}
    explicit InstallAndStartOfAnAnsweringBundle(Step const& given)
        : InstallAndStart({{"registering.step", Any(given)}}), step(given) {
        fs::copy_file(REGISTERING_BUNDLE, folder / "a.so");
        started = installAndStart("bundles");
        registration =
            running.context().GetService(running.context().GetServiceReference<fctrl_ext::Registration>());
    }

    /// Throws the error from the host's code, where the bundle's catches it, and catches the bundle's own.
    template <class Error>
    void expectBothWays(Error const& error) {
        SCOPED_TRACE(error.what());
        // NOLINTNEXTLINE(cert-err60-cpp): copying some errors' texts may fail; then this test does
        *step = [&error] { throw error; };
        EXPECT_THAT([&] { registration->addFeaturesOnce(); },
                    testing::Throws<Error>(
                        testing::Property(&std::exception::what, testing::HasSubstr("of the bundle"))));
    }

    Step step;
    std::vector<Bundle> started;
    std::shared_ptr<fctrl_ext::Registration> registration;
};

TEST_F(InstallAndStartOfAnAnsweringBundle, CatchesAndIsCaughtByTheTypesOfExceptions) {
    ASSERT_TRUE(registration);
    expectBothWays(json::ParserException(json::ParseResult::emptyText, "of the host", "", 0));
    expectBothWays(::cppmicroservices::SharedLibraryException(
        std::make_error_code(std::errc::io_error), "of the host", started.at(0)));
    expectBothWays(::cppmicroservices::ServiceException("of the host"));
    expectBothWays(::cppmicroservices::IllegalStateException("of the host"));
    expectBothWays(::cppmicroservices::BadAnyCastException("of the host"));
    expectBothWays(std::range_error("of the host"));
    expectBothWays(std::out_of_range("of the host"));
}

TEST_F(InstallAndStart, LeavesOutEverythingWithoutARunningFramework) {
    writeZip(folder / "a.zip", bundle("a"));
    writeZip(folder / "b.zip", bundle("b"));
    setFramework(nullptr);
    EXPECT_THAT(installAndStart("bundles"), IsEmpty());
    EXPECT_THAT(logged(),
                ElementsAre("left out " + text(folder / "a.zip") + ": there is no service framework",
                            "left out " + text(folder / "b.zip") + ": there is no service framework"));
    log.clear();
    setFramework(std::make_shared<Framework>(running.framework));
    running.stop();
    EXPECT_THAT(installAndStart("bundles"), IsEmpty());
    ASSERT_EQ(logged().size(), 2U);
    EXPECT_EQ(logged()[0], "left out " + text(folder / "a.zip") + ": The bundle context is no longer valid");
}

TEST_F(InstallAndStart, IsCalledByManyThreadsAtOnce) {
    fs::copy_file(REGISTERING_BUNDLE, folder / "a.so");
    writeZip(folder / "b.zip", bundle("b"));
    writeFile(folder / "c.zip", "broken");
    foundation::test::Latch start(4);
    std::vector<std::vector<Bundle>> results(4);
    std::vector<std::jthread> threads;
    for (auto& result : results) {
        threads.emplace_back([&] {
            start.arriveAndWait();
            result = installAndStart("bundles");
        });
    }
    threads.clear();
    for (auto const& result : results) {
        EXPECT_THAT(names(result), ElementsAre("registering", "b"));
        EXPECT_EQ(result, results[0]);
    }
    EXPECT_EQ(logged().size(), 4U);
}

TEST_F(InstallAndStart, TakesAWholePathAsItIs) {
    TemporaryFolder elsewhere;
    writeZip(elsewhere.path() / "a.zip", bundle("a"));
    auto const bundles = installAndStart(elsewhere.path());
    EXPECT_THAT(names(bundles), ElementsAre("a"));
    EXPECT_EQ(bundles.at(0).GetLocation(), text(elsewhere.path() / "a.zip"));
}

TEST_F(InstallAndStart, TakesNamesOfAnyCharacters) {
    fs::path const name = u8"\u00fc\u65e5";
    fs::create_directory(folder / name);
    writeZip(folder / name / u8"\u00e4.zip", bundle("a"));
    auto const bundles = installAndStart(fs::path("bundles") / name);
    EXPECT_THAT(names(bundles), ElementsAre("a"));
    EXPECT_EQ(bundles.at(0).GetLocation(), text(folder / name / u8"\u00e4.zip"));
}

TEST_F(InstallAndStart, IsNotStoppedByANameThatIsNoText) {
    writeZip(folder / "a.zip", bundle("a"));
#if defined(_WIN32)
    fs::path const name = std::wstring{wchar_t{0xD800}, L'.', L'z', L'i', L'p'};
    std::ofstream(folder / name) << "x";
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("a"));
    // Wine has no such names.
    EXPECT_EQ(logged().size(), fs::exists(folder / name) ? 1U : 0U);
#else
    writeZip(folder / "\xFF.zip", bundle("b"));
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("a", "b")) << "any bytes are a name";
    EXPECT_THAT(logged(), IsEmpty());
#endif
}

TEST_F(InstallAndStart, TakesOrLogsAFolderWithALongPath) {
    std::vector<fs::path> folders = {folder};
    while (folders.back().native().size() < 300)
        folders.push_back(folders.back() / std::string(60, 'd'));
    EXPECT_THAT(installAndStart(folders.back()), IsEmpty());
    EXPECT_THAT(logged(), IsEmpty()) << "it is missing";
    std::error_code error;
    fs::create_directories(folders.back(), error);
    ASSERT_FALSE(error) << "a system that allows long paths is needed: " << error.message();
    writeZip(folders.back() / "a.zip", bundle("a"));
    auto const bundles = installAndStart(folders.back());
    // Nor can such a folder be removed together with what it holds.
    fs::remove(folders.back() / "a.zip");
    for (auto made = folders.rbegin(); made != folders.rend(); ++made)
        fs::remove(*made);
#if defined(__MINGW32__)
    EXPECT_THAT(bundles, IsEmpty());
    EXPECT_THAT(logged(), ElementsAre(testing::StartsWith("left out " + text(folders.back()) + ": ")));
#else
    EXPECT_THAT(names(bundles), ElementsAre("a"));
    EXPECT_THAT(logged(), IsEmpty());
#endif
}

TEST_F(InstallAndStart, LoadsCodeFromARootOfAnyCharacters) {
    // No code page has all of these.
    TemporaryFolder other;
    fs::path const wide = other.path() / u8"\u00fc\u65e5\u0416\U0001f600";
    fs::create_directories(wide / "bundles");
    fs::copy_file(REGISTERING_BUNDLE, wide / "bundles" / u8"\u00e4\u672c.dll");
    setInstallationRoot({});
    ScopedEnvironment const variable("FOUNDATION_ROOT", text(wide));
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("registering"));
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_TRUE(running.context().GetServiceReference<fctrl_ext::Registration>());
}

TEST_F(InstallAndStart, TakesTheRootFromTheEnvironmentUnlessItIsSet) {
    TemporaryFolder other;
    fs::create_directory(other.path() / "bundles");
    writeZip(other.path() / "bundles" / "o.zip", bundle("other"));
    writeZip(folder / "a.zip", bundle("a"));
    ScopedEnvironment const variable("FOUNDATION_ROOT", text(other.path()));
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("a")) << "what was set counts more";
    setInstallationRoot({});
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("other"));
    setInstallationRoot(root.path());
    EXPECT_THAT(names(installAndStart("bundles")), ElementsAre("a"));
}

TEST_F(InstallAndStart, TakesARelativeRootUnderTheCurrentFolder) {
    writeZip(folder / "a.zip", bundle("a"));
    fs::path const before = fs::current_path();
    fs::current_path(root.path().parent_path());
    setInstallationRoot(root.path().filename());
    auto const bundles = installAndStart("bundles");
    fs::current_path(before);
    EXPECT_THAT(names(bundles), ElementsAre("a"));
    EXPECT_TRUE(fs::path(bundles.at(0).GetLocation()).is_absolute());
}

TEST(TheRoot, IsTheProgramsFolderByDefault) {
    // This program's own folder holds no such one: nothing to find, and nothing to complain about.
    ScopedEnvironment const variable("FOUNDATION_ROOT", "");
    LogCapture const log;
    EXPECT_THAT(installAndStart("a folder that is nowhere"), IsEmpty());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(TheRoot, MustBeANameThatTheSystemTakes) {
    fl::filesystem::path const broken(std::u16string(1, char16_t{0xd800}));
#if defined(_WIN32)
    // Windows has such names: nothing of this one is there.
    setInstallationRoot(broken);
    EXPECT_THAT(installAndStart("bundles"), IsEmpty());
    setInstallationRoot({});
    EXPECT_THAT(installAndStart(broken), IsEmpty());
#else
    setInstallationRoot(broken);
    EXPECT_THROW(installAndStart("bundles"), std::range_error);
    setInstallationRoot({});
    EXPECT_THROW(installAndStart(broken), std::range_error);
#endif
}

}  // namespace
}  // namespace foundation::cppmicroservices
