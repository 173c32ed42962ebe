// Where the embedded framework does better than the installed one: zips that are damaged or hostile.

#include <cppmicroservices/Any.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "BundleFiles.h"

namespace {

using bundle_test::bundle;
using bundle_test::Entries;
using bundle_test::manifest;
using bundle_test::RunningFramework;
using bundle_test::TemporaryFolder;
using bundle_test::text;
using bundle_test::textOf;
using bundle_test::writeFile;
using bundle_test::writeZip;

// Where the fields lie in the records of a zip, and how long the records are.
constexpr std::size_t endRecordSize = 22;
constexpr std::size_t endRecordCount = 10;
constexpr std::size_t endRecordDirectoryOffset = 16;
constexpr std::size_t directoryMethod = 10;
constexpr std::size_t directorySize = 24;

class Archives : public testing::Test {
protected:
    std::string refusal(std::string const& location) {
        return textOf<std::runtime_error>([&] { running.context().InstallBundles(location); });
    }

    /// The bytes of a zip with the bundle "a".
    std::string goodZip() {
        auto const location = writeZip(folder.path() / "good.zip", bundle("a", R"("text": "some text")"));
        std::ifstream file(location, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// A file of these bytes, under a name that is new each time.
    std::string write(std::string const& bytes) {
        auto const file = folder.path() / (std::to_string(++count_) + ".zip");
        writeFile(file, bytes);
        return text(file);
    }

    /// Whether a file of these bytes is installed, as a bundle that can be used, or refused in words.
    bool isInstalledOrRefused(std::string const& bytes) {
        try {
            for (auto& bundle : running.context().InstallBundles(write(bytes))) {
                EXPECT_NE(bundle.GetHeaders().count("bundle.symbolic_name"), 0U);
                bundle.Uninstall();
            }
            return true;
        } catch (std::runtime_error const& error) {
            return error.what() != std::string();
        }
    }

    TemporaryFolder folder;
    RunningFramework running;

private:
    int count_ = 0;
};

TEST_F(Archives, ThatAreCutOffAnywhereAreReadOrRefused) {
    std::string const zip = goodZip();
    std::size_t const end = zip.size() - endRecordSize;
    for (std::size_t size = 0; size <= end; ++size) {
        SCOPED_TRACE(size);
        auto const location = write(zip.substr(0, size));
        EXPECT_EQ(refusal(location), "Could not init zip archive for bundle at " + location);
    }
    // The last record may do without its end, which is the length of a comment.
    for (std::size_t size = end; size < zip.size(); ++size) {
        SCOPED_TRACE(size);
        EXPECT_TRUE(isInstalledOrRefused(zip.substr(0, size)));
    }
    EXPECT_EQ(running.context().GetBundles().size(), 1U) << "only the system bundle";
}

TEST_F(Archives, WithAnyByteChangedAreReadOrRefused) {
    std::string const zip = goodZip();
    for (std::size_t place = 0; place < zip.size(); ++place) {
        SCOPED_TRACE(place);
        for (int const difference : {0x01, 0x80, 0xff}) {
            std::string changed = zip;
            changed[place] = static_cast<char>(changed[place] ^ difference);
            EXPECT_TRUE(isInstalledOrRefused(changed));
        }
    }
}

TEST_F(Archives, ThatPromiseMoreEntriesThanTheyHaveAreRefused) {
    std::string zip = goodZip();
    std::size_t const end = zip.size() - endRecordSize;
    for (std::size_t const count : {endRecordCount - 2, endRecordCount}) {
        zip.replace(end + count, 2, "\xfe\xff");
    }
    auto const location = write(zip);
    EXPECT_EQ(refusal(location), "Could not init zip archive for bundle at " + location);
}

/// Where the directory of a zip of fewer than 64 KiB begins.
std::size_t directoryOf(std::string const& zip) {
    std::size_t const field = zip.size() - endRecordSize + endRecordDirectoryOffset;
    return static_cast<unsigned char>(zip[field]) + 256U * static_cast<unsigned char>(zip[field + 1]);
}

TEST_F(Archives, WhoseManifestIsPackedInAnUnknownWayAreRefused) {
    std::string zip = goodZip();
    zip[directoryOf(zip) + directoryMethod] = 12;  // bzip2
    zip[8] = 12;                                   // Also in the entry's own header.
    auto const location = write(zip);
    EXPECT_EQ(refusal(location),
              "Failed to install bundle library at " + location + ": a/manifest.json cannot be read");
}

TEST_F(Archives, WhoseManifestIsTooLargeAreRefused) {
    std::size_t const limit = std::size_t{16} * 1024 * 1024;
    std::string const json = manifest("a");
    std::string const largest = json + std::string(limit - json.size(), ' ');
    auto const location = writeZip(folder.path() / "a.zip", {{"a/manifest.json", largest}});
    EXPECT_EQ(running.context().InstallBundles(location).size(), 1U);

    auto const larger = writeZip(folder.path() / "b.zip", {{"b/manifest.json", largest + ' '}});
    EXPECT_EQ(refusal(larger),
              "Failed to install bundle library at " + larger +
                  ": b/manifest.json has more than 16777216 bytes");
}

TEST_F(Archives, ThatUnderstateTheSizeOfTheirManifestAreRefused) {
    std::string zip = goodZip();
    zip[directoryOf(zip) + directorySize] = 5;
    auto const location = write(zip);
    EXPECT_EQ(refusal(location),
              "Failed to install bundle library at " + location + ": a/manifest.json cannot be read");
}

TEST_F(Archives, GiveTheLastOfEqualNames) {
    auto const location = writeZip(
        folder.path() / "a.zip",
        {{"a/manifest.json", manifest("a", "\"n\": 1")}, {"a/manifest.jsoN", manifest("a", "\"n\": 2")}});
    std::ifstream file(location, std::ios::binary);
    std::string zip(std::istreambuf_iterator<char>(file), {});
    for (auto place = zip.find("jsoN"); place != std::string::npos; place = zip.find("jsoN")) {
        zip.replace(place, 4, "json");
    }
    auto const bundles = running.context().InstallBundles(write(zip));
    ASSERT_EQ(bundles.size(), 1U);
    EXPECT_EQ(bundles[0].GetHeaders().at("n").ToJSON(), "1") << "\"jsoN\" was written before \"json\"";
}

TEST_F(Archives, WithNamesThatLeadElsewhereWriteNothing) {
    Entries entries = {{"../manifest.json", manifest("up")},
                       {"../../up/manifest.json", manifest("up")},
                       {"/etc/manifest.json", manifest("absolute")},
                       {"a/../../manifest.json", manifest("a")}};
    entries.merge(bundle("a"));
    std::filesystem::create_directory(folder.path() / "inner");
    auto const location = writeZip(folder.path() / "inner" / "a.zip", entries);
    auto const bundles = running.context().InstallBundles(location);
    ASSERT_EQ(bundles.size(), 2U);
    EXPECT_EQ(bundles[0].GetSymbolicName(), "..") << "a name like any other";
    EXPECT_EQ(bundles[1].GetSymbolicName(), "a");
    auto const everything = std::filesystem::recursive_directory_iterator(folder.path());
    EXPECT_EQ(std::distance(begin(everything), end(everything)), 2) << "the inner folder and its zip";
}

TEST_F(Archives, WithADamagedManifestAreRefused) {
    auto const location =
        writeZip(folder.path() / "a.zip", bundle("a", "\"text\": \"" + std::string(99, 'x') + '"'));
    {
        // Behind the entry's header of 30 bytes and its name.
        std::fstream file(location, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(30 + 15 + 5);
        file << "damage";
    }
    EXPECT_EQ(refusal(location),
              "Failed to install bundle library at " + location + ": a/manifest.json cannot be read");
}

}  // namespace
