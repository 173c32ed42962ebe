#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BundleFiles.h"
#include "Fixtures.h"

namespace {

using bundle_test::bundle;
using bundle_test::Bundles;
using bundle_test::Entries;
using bundle_test::manifest;
using bundle_test::text;
using bundle_test::textOf;
using bundle_test::writeFile;
using bundle_test::writeZip;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::Bundle;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

std::filesystem::path const probeLibrary = PROBE_LIBRARY;

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
        {"a version with a wrong character",
         R"({"bundle.symbolic_name": "name", "bundle.version": "1.2.3.a b"})",
         version + " is not valid: The version identifier is invalid: invalid qualifier: a b"},
        {"a version that is a number",
         R"({"bundle.symbolic_name": "name", "bundle.version": 1})",
         version + " is not valid: The version identifier must be a string"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        std::filesystem::remove(location);
        writeZip(location, {{"name/manifest.json", row.json}});
        EXPECT_EQ(refusal(location), "Failed to install bundle library at " + location + ": " + row.reason);
    }

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

TEST_F(Bundles, TakeNoManifestFromTheCallerThatIsNoMap) {
    start();
    std::string const location = writeZip(folder.path() / "a.zip", bundle("a"));
    EXPECT_EQ(textOf<std::runtime_error>([&] {
                  running->context().InstallBundles(location, {{"a", Any(1)}});
              }),
              "Failed to install bundle library at " + location +
                  ": cppmicroservices::BadAnyCastException: any_cast: Failed to convert from "
                  "cppmicroservices::Any type int to target type cppmicroservices::AnyMap");
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
    EXPECT_TRUE(moved < bundle) << "one that refers to nothing is the last";
    EXPECT_FALSE(bundle < moved);
    EXPECT_FALSE(bundle < Bundle());
}

}  // namespace
