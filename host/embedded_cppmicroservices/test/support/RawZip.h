#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bundle_test {

/// An entry of a zip as it stands in the file, true or not.
struct RawEntry {
    std::string name;
    std::string
        data;  ///< The bytes in the file. They and their size in the entry's own header are always true.
    std::uint32_t crc = 0;
    std::uint32_t size = 0;  ///< What the directory says that the data become.
    std::uint16_t method = 0;
    std::uint16_t flags = 0;
    std::string extra = {};  ///< In the directory.
    std::optional<std::uint32_t> directorySize =
        {};                                    ///< Of the data, when the directory does not tell the truth.
    std::optional<std::uint32_t> offset = {};  ///< In the directory, instead of writing data of its own.
};

/// An entry whose data are the content as it is.
RawEntry storedEntry(std::string name, std::string const& content);
/// An entry whose data are compressed.
RawEntry deflatedEntry(std::string name, std::string const& content);

/// What the records at the end of a zip say.
struct RawEnd {
    std::optional<std::uint64_t> count = {};   ///< of entries; the true number when empty
    std::optional<std::uint64_t> offset = {};  ///< of the directory
    std::optional<std::uint64_t> size = {};    ///< of the directory
    bool is64 = false;                         ///< in records with fields of 64 bits
    std::optional<std::uint64_t> offsetOfEnd64 = {};
};

std::string rawZip(std::vector<RawEntry> const& entries, RawEnd const& end = {});

/// A number as it stands in a zip: its lowest byte first.
std::string littleEndian(std::uint64_t number, int bytes);

}  // namespace bundle_test
