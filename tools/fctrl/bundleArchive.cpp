#include "bundleArchive.hpp"

#include <unzip.h>
#include <zip.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <utility>

namespace fctrl {
namespace {

constexpr std::size_t largestManifest = std::size_t{16} * 1024 * 1024;

/// A file in memory, for the zip library: it has no way of its own to open a path with any character everywhere.
struct MemoryFile {
    std::string bytes;
    std::size_t at = 0;
};

MemoryFile& fileOf(voidpf stream) {
    return *static_cast<MemoryFile*>(stream);
}

voidpf openFile(voidpf opaque, void const*, int) {
    return opaque;
}

uLong readBytes(voidpf, voidpf stream, void* buffer, uLong size) {
    MemoryFile& file = fileOf(stream);
    std::size_t const count = std::min<std::size_t>(size, file.bytes.size() - file.at);
    std::copy_n(file.bytes.data() + file.at, count, static_cast<char*>(buffer));
    file.at += count;
    return static_cast<uLong>(count);
}

uLong writeBytes(voidpf, voidpf stream, void const* buffer, uLong size) {
    MemoryFile& file = fileOf(stream);
    file.bytes.replace(file.at, size, static_cast<char const*>(buffer), size);
    file.at += size;
    return size;
}

ZPOS64_T tell(voidpf, voidpf stream) {
    return fileOf(stream).at;
}

long seek(voidpf, voidpf stream, ZPOS64_T offset, int origin) {
    MemoryFile& file = fileOf(stream);
    std::size_t const from = origin == ZLIB_FILEFUNC_SEEK_CUR   ? file.at
                             : origin == ZLIB_FILEFUNC_SEEK_END ? file.bytes.size()
                                                                : 0;
    if (offset > file.bytes.size() - from) return -1;
    file.at = from + static_cast<std::size_t>(offset);
    return 0;
}

int nothingToDo(voidpf, voidpf) {
    return 0;
}

zlib_filefunc64_def functionsFor(MemoryFile& file) {
    return {openFile, readBytes, writeBytes, tell, seek, nothingToDo, nothingToDo, &file};
}

struct Closing {
    void operator()(void* zip) const { unzClose(zip); }
};

/// The name of the current entry; empty when it cannot be read.
std::string entryName(unzFile zip) {
    std::array<char, 4096> name{};
    int const status =
        unzGetCurrentFileInfo64(zip, nullptr, name.data(), name.size() - 1, nullptr, 0, nullptr, 0);
    return status == UNZ_OK ? name.data() : "";
}

/// The content of the current entry; nothing when it is damaged or too large.
std::optional<std::string> entryText(unzFile zip) {
    if (unzOpenCurrentFile(zip) != UNZ_OK) return std::nullopt;
    std::string text;
    std::array<char, 16384> block{};
    int count = 0;
    while (text.size() <= largestManifest &&
           (count = unzReadCurrentFile(zip, block.data(), static_cast<unsigned>(block.size()))) > 0)
        text.append(block.data(), static_cast<std::size_t>(count));
    // Closing compares the checksum.
    bool const isWhole = unzCloseCurrentFile(zip) == UNZ_OK && count == 0 && text.size() <= largestManifest;
    return isWhole ? std::optional(text) : std::nullopt;
}

}  // namespace

bool isBundleName(std::string_view file) {
    static constexpr std::array<std::string_view, 4> endings = {".dll", ".so", ".dylib", ".zip"};
    return std::any_of(
        endings.begin(), endings.end(), [file](std::string_view ending) { return file.ends_with(ending); });
}

std::optional<std::map<std::string, std::string>> readManifests(std::string file) {
    MemoryFile memory{std::move(file)};
    zlib_filefunc64_def functions = functionsFor(memory);
    std::unique_ptr<void, Closing> const zip(unzOpen2_64("", &functions));
    if (!zip) return std::nullopt;
    std::map<std::string, std::string> manifests;
    for (int status = unzGoToFirstFile(zip.get()); status == UNZ_OK; status = unzGoToNextFile(zip.get())) {
        std::string const name = entryName(zip.get());
        std::size_t const slash = name.find('/');
        if (slash == std::string::npos || name.substr(slash) != "/manifest.json") continue;
        if (auto text = entryText(zip.get()))
            manifests.insert_or_assign(name.substr(0, slash), *std::move(text));
    }
    return manifests;
}

std::string makeBundle(std::string const& symbolicName, std::string_view manifest) {
    MemoryFile memory;
    zlib_filefunc64_def functions = functionsFor(memory);
    zipFile const zip = zipOpen2_64("", APPEND_STATUS_CREATE, nullptr, &functions);
    std::string const name = symbolicName + "/manifest.json";
    bool isWritten =
        zip != nullptr &&
        zipOpenNewFileInZip(
            zip, name.c_str(), nullptr, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED, Z_BEST_SPEED) == ZIP_OK;
    isWritten = isWritten &&
                zipWriteInFileInZip(zip, manifest.data(), static_cast<unsigned>(manifest.size())) == ZIP_OK &&
                zipCloseFileInZip(zip) == ZIP_OK;
    // Closes also what could not be written.
    if (zip == nullptr || zipClose(zip, nullptr) != ZIP_OK || !isWritten) {
        throw std::runtime_error("the manifest cannot be packed");
    }
    return memory.bytes;
}

}  // namespace fctrl
