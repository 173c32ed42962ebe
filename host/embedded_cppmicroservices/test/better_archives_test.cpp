// Where the embedded framework does better than the installed one: zips that are damaged or hostile.

#include <cppmicroservices/Any.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>

#include <support/isSanitized.hpp>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "BundleFiles.h"
#include "RawZip.h"

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

namespace {

using bundle_test::bundle;
using bundle_test::deflatedEntry;
using bundle_test::Entries;
using bundle_test::littleEndian;
using bundle_test::manifest;
using bundle_test::RawEnd;
using bundle_test::RawEntry;
using bundle_test::rawZip;
using bundle_test::RunningFramework;
using bundle_test::storedEntry;
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
constexpr std::size_t directoryExtraSize = 30;

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

// What no program that writes zips would write.

/// Why a file is refused, after what every such text begins with.
std::string because(std::string const& location, std::string const& reason) {
    return "Failed to install bundle library at " + location + ": " + reason;
}

TEST_F(Archives, WithATrueCopyOfARealOneAreRead) {
    auto const json = manifest("a", R"("text": "some text")");
    for (RawEntry const& entry :
         {storedEntry("a/manifest.json", json), deflatedEntry("a/manifest.json", json)}) {
        for (bool const is64 : {false, true}) {
            auto bundles = running.context().InstallBundles(write(rawZip({entry}, {.is64 = is64})));
            ASSERT_EQ(bundles.size(), 1U);
            EXPECT_EQ(bundles[0].GetHeaders().at("text").ToString(), "some text");
            bundles[0].Uninstall();
        }
    }
}

TEST_F(Archives, WithAnEntryThatIsNotAsItsHeadersSayAreRefused) {
    struct Row {
        char const* says;
        std::function<void(RawEntry&)> change;
        std::string reason;
    };
    std::string const unreadable = "a/manifest.json cannot be read";
    std::vector<Row> rows = {
        {"another checksum", [](RawEntry& entry) { entry.crc ^= 1; }, unreadable},
        {"encrypted", [](RawEntry& entry) { entry.flags = 1; }, "a/manifest.json is encrypted"},
        {"encrypted strongly", [](RawEntry& entry) { entry.flags = 0x41; }, "a/manifest.json is encrypted"},
        {"fewer data than in the directory",
         [](RawEntry& entry) { entry.directorySize = 99999; },
         unreadable},
        {"more data than in the directory", [](RawEntry& entry) { entry.directorySize = 9; }, unreadable},
        {"data that become less", [](RawEntry& entry) { entry.size += 1; }, unreadable},
        {"data that become more", [](RawEntry& entry) { entry.size -= 1; }, unreadable},
        {"data that become 4 GiB",
         [](RawEntry& entry) { entry.size = 0xFFFFFFFE; },
         "a/manifest.json has more than 16777216 bytes"},
        {"a place in another entry", [](RawEntry& entry) { entry.offset = 1; }, unreadable},
        {"a place behind the file", [](RawEntry& entry) { entry.offset = 0xFFFFFFF0; }, unreadable},
        {"a size of 64 bits that is missing",
         [](RawEntry& entry) { entry.size = 0xFFFFFFFF; },
         "a/manifest.json has more than 16777216 bytes"},
        {"a size of 2^63",
         [](RawEntry& entry) {
             entry.size = 0xFFFFFFFF;
             entry.extra = littleEndian(1, 2) + littleEndian(8, 2) + littleEndian(std::uint64_t{1} << 63, 8);
         },
         "a/manifest.json has more than 16777216 bytes"},
        {"further data that end too early",
         [](RawEntry& entry) {
             entry.offset = 0xFFFFFFFF;
             entry.extra = littleEndian(1, 2) + littleEndian(8, 2);
         },
         unreadable},
        {"a place of 2^63",
         [](RawEntry& entry) {
             entry.offset = 0xFFFFFFFF;
             entry.extra = littleEndian(1, 2) + littleEndian(8, 2) + littleEndian(std::uint64_t{1} << 63, 8);
         },
         unreadable},
    };
    for (int const method : {1, 6, 7, 9, 12, 14, 93, 95, 98, 99, 0xFFFF}) {
        rows.push_back({"packed in an unknown way",
                        [method](RawEntry& entry) { entry.method = static_cast<std::uint16_t>(method); },
                        unreadable});
    }
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        RawEntry entry =
            deflatedEntry("a/manifest.json", manifest("a", "\"text\": \"" + std::string(999, 'x') + '"'));
        row.change(entry);
        auto const location = write(rawZip({storedEntry("other", "content"), entry}));
        EXPECT_EQ(refusal(location), because(location, row.reason));
    }
}

TEST_F(Archives, WithADirectoryThatIsElsewhereOrEndlessAreRefused) {
    struct Row {
        char const* says;
        RawEnd end;
    };
    constexpr auto many = std::uint64_t{1} << 63;
    Row const rows[] = {
        {"more entries", {.count = 0xFFFE}},
        {"an unknown number of entries without their number in 64 bits", {.count = 0xFFFF, .size = 0}},
        {"2^63 entries", {.count = many, .is64 = true}},
        {"2^64 - 1 entries", {.count = many - 1 + many, .is64 = true}},
        {"a directory behind the file", {.offset = 0xFFFFFFF0}},
        {"a directory at 2^63", {.offset = many, .is64 = true}},
        {"a directory of 2^63 bytes", {.size = many, .is64 = true}},
        {"a place and a size that add up to a small number", {.offset = many, .size = many, .is64 = true}},
        {"the end of 64 bits behind the file", {.is64 = true, .offsetOfEnd64 = many}},
        {"the end of 64 bits in itself", {.is64 = true, .offsetOfEnd64 = 1}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        auto const location = write(rawZip({deflatedEntry("a/manifest.json", manifest("a"))}, row.end));
        EXPECT_EQ(refusal(location), "Could not init zip archive for bundle at " + location);
    }
}

TEST_F(Archives, WhoseManifestsAreTooLargeTogetherAreRefused) {
    // Each of these would be read: all of them are one and the same, so that the file is small.
    std::string const json = manifest("a");
    RawEntry const first =
        deflatedEntry("0000/manifest.json", json + std::string((std::size_t{1} << 20) - json.size(), ' '));
    std::vector<RawEntry> entries = {first};
    while (entries.size() < 17) {
        RawEntry next = first;
        next.name = std::to_string(1000 + entries.size()) + "/manifest.json";
        next.offset = 0;
        entries.push_back(next);
    }
    auto const location = write(rawZip(entries));
    EXPECT_LT(std::filesystem::file_size(location), 10000U);
    EXPECT_EQ(refusal(location), because(location, "its manifests have more than 16777216 bytes together"));
    EXPECT_EQ(running.context().GetBundles().size(), 1U) << "only the system bundle";
    entries.pop_back();
    EXPECT_EQ(running.context().InstallBundles(write(rawZip(entries))).size(), 16U);
}

TEST_F(Archives, OfManyBundlesAreRefused) {
    RawEntry const first = storedEntry("0000/manifest.json", manifest("a"));
    std::vector<RawEntry> entries = {first};
    for (std::size_t const count : {1024u, 1025u}) {
        while (entries.size() < count) {
            RawEntry next = first;
            next.name = std::to_string(1000 + entries.size()) + "/manifest.json";
            next.offset = 0;
            entries.push_back(next);
        }
        auto const location = write(rawZip(entries));
        if (count == 1024) {
            EXPECT_EQ(running.context().InstallBundles(location).size(), count);
        } else {
            EXPECT_EQ(refusal(location), because(location, "it has more than 1024 bundles"));
        }
    }
}

TEST_F(Archives, OfManyEntriesAreRead) {
    // More than a field of 16 bits can count, where that does not take too long.
    std::size_t const count = foundation::test::isSanitized ? 20000 : 200000;
    std::vector<RawEntry> entries = {storedEntry("a/manifest.json", manifest("a"))};
    entries.reserve(count);
    while (entries.size() < count) {
        entries.push_back(entries[0]);
        entries.back().name = "a/" + std::to_string(entries.size());
        entries.back().offset = 0;
    }
    auto const location = write(rawZip(entries, {.is64 = true}));
    EXPECT_EQ(running.context().InstallBundles(location).size(), 1U);
}

TEST_F(Archives, WithFurtherDataOfManyFieldsAreRead) {
    // Each field of four bytes was once looked for in the file anew; those behind the end of the file, too.
    std::string fields;
    while (fields.size() + 6 <= 0xFFFF)
        fields += littleEndian(0xCAFE, 2) + littleEndian(2, 2) + "xx";
    std::vector<RawEntry> entries = {storedEntry("a/manifest.json", manifest("a"))};
    while (entries.size() < 100) {
        entries.push_back(entries[0]);
        entries.back().name = "a/" + std::to_string(entries.size());
        entries.back().extra = fields;
        entries.back().offset = 0;
    }
    EXPECT_EQ(running.context().InstallBundles(write(rawZip(entries))).size(), 1U);

    std::string zip = rawZip({entries[0]});
    zip.replace(directoryOf(zip) + directoryExtraSize, 2, "\xff\xff");
    auto const location = write(zip);
    EXPECT_EQ(refusal(location), "Could not init zip archive for bundle at " + location);
}

#if !defined(_WIN32)
TEST_F(Archives, MustBeFiles) {
    auto const pipe = folder.path() / "pipe.zip";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (std::string const& location : {text(pipe), std::string("/dev/zero"), text(folder.path())}) {
        // Opening the pipe would wait for a writer.
        EXPECT_EQ(refusal(location), "Could not init zip archive for bundle at " + location);
    }
}
#endif

}  // namespace
