#include "RawZip.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include <zlib.h>

namespace bundle_test {

namespace {

std::string localHeader(RawEntry const& entry) {
    return "PK\3\4" + littleEndian(20, 2) + littleEndian(entry.flags, 2) + littleEndian(entry.method, 2) +
           littleEndian(0, 4) + littleEndian(entry.crc, 4) + littleEndian(entry.data.size(), 4) +
           littleEndian(entry.size, 4) + littleEndian(entry.name.size(), 2) + littleEndian(0, 2) + entry.name;
}

std::string directoryEntry(RawEntry const& entry, std::size_t offset) {
    std::uint64_t const dataSize =
        entry.directorySize.value_or(static_cast<std::uint32_t>(entry.data.size()));
    return "PK\1\2" + littleEndian(20, 2) + littleEndian(20, 2) + littleEndian(entry.flags, 2) +
           littleEndian(entry.method, 2) + littleEndian(0, 4) + littleEndian(entry.crc, 4) +
           littleEndian(dataSize, 4) + littleEndian(entry.size, 4) + littleEndian(entry.name.size(), 2) +
           littleEndian(entry.extra.size(), 2) + littleEndian(0, 10) + littleEndian(offset, 4) + entry.name +
           entry.extra;
}

/// As much of a number as a field has room for: all ones stand for more.
std::string cut(std::uint64_t number, int bytes) {
    return littleEndian(std::min(number, (std::uint64_t{1} << (8 * bytes)) - 1), bytes);
}

}  // namespace

std::string littleEndian(std::uint64_t number, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>(number & 0xFF);
        number >>= 8;
    }
    return text;
}

RawEntry storedEntry(std::string name, std::string const& content) {
    auto const* const bytes = reinterpret_cast<Bytef const*>(content.data());
    auto const size = static_cast<std::uint32_t>(content.size());
    return {std::move(name), content, static_cast<std::uint32_t>(crc32(0, bytes, size)), size};
}

RawEntry deflatedEntry(std::string name, std::string const& content) {
    RawEntry entry = storedEntry(std::move(name), content);
    uLong size = compressBound(static_cast<uLong>(content.size()));
    entry.data.resize(size);
    int const status = compress(reinterpret_cast<Bytef*>(entry.data.data()),
                                &size,
                                reinterpret_cast<Bytef const*>(content.data()),
                                static_cast<uLong>(content.size()));
    if (status != Z_OK) throw std::runtime_error("cannot compress");
    // A zip has the data without the two bytes before and the checksum of four bytes after them.
    entry.data = entry.data.substr(2, size - 6);
    entry.method = Z_DEFLATED;
    return entry;
}

std::string rawZip(std::vector<RawEntry> const& entries, RawEnd const& end) {
    std::string zip;
    std::string directory;
    for (RawEntry const& entry : entries) {
        directory += directoryEntry(entry, entry.offset.value_or(static_cast<std::uint32_t>(zip.size())));
        if (!entry.offset) zip += localHeader(entry) + entry.data;
    }
    std::uint64_t const count = end.count.value_or(entries.size());
    std::uint64_t const size = end.size.value_or(directory.size());
    std::uint64_t const offset = end.offset.value_or(zip.size());
    zip += directory;
    std::uint64_t const ones = std::numeric_limits<std::uint64_t>::max();
    if (end.is64) {
        std::size_t const offsetOfEnd64 = zip.size();
        zip += "PK\6\6" + littleEndian(44, 8) + littleEndian(45, 2) + littleEndian(45, 2) +
               littleEndian(0, 8) + littleEndian(count, 8) + littleEndian(count, 8) + littleEndian(size, 8) +
               littleEndian(offset, 8);
        zip += "PK\6\7" + littleEndian(0, 4) + littleEndian(end.offsetOfEnd64.value_or(offsetOfEnd64), 8) +
               littleEndian(1, 4);
    }
    return zip + "PK\5\6" + littleEndian(0, 4) + cut(end.is64 ? ones : count, 2) +
           cut(end.is64 ? ones : count, 2) + cut(end.is64 ? ones : size, 4) +
           cut(end.is64 ? ones : offset, 4) + littleEndian(0, 2);
}

}  // namespace bundle_test
