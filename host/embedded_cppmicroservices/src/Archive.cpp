#include "Archive.h"

#include <array>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include <unzip.h>

namespace cppmicroservices::detail {

namespace {

// What the zip library calls to read a file. It has functions of its own for that, but none that takes a path
// with any character on every platform.
std::ifstream& streamOf(voidpf stream) {
    return *static_cast<std::ifstream*>(stream);
}

voidpf openStream(voidpf opaque, void const*, int) {
    return opaque;
}

uLong readStream(voidpf, voidpf stream, void* buffer, uLong size) {
    streamOf(stream).clear();
    streamOf(stream).read(static_cast<char*>(buffer), static_cast<std::streamsize>(size));
    return static_cast<uLong>(streamOf(stream).gcount());
}

uLong refuseToWrite(voidpf, voidpf, void const*, uLong) {
    return 0;
}

ZPOS64_T tellStream(voidpf, voidpf stream) {
    streamOf(stream).clear();
    return static_cast<ZPOS64_T>(static_cast<std::streamoff>(streamOf(stream).tellg()));
}

long seekStream(voidpf, voidpf stream, ZPOS64_T offset, int origin) {
    std::ios_base::seekdir const direction = origin == ZLIB_FILEFUNC_SEEK_CUR   ? std::ios_base::cur
                                             : origin == ZLIB_FILEFUNC_SEEK_END ? std::ios_base::end
                                                                                : std::ios_base::beg;
    streamOf(stream).clear();
    streamOf(stream).seekg(static_cast<std::streamoff>(offset), direction);
    return streamOf(stream).fail() ? -1 : 0;
}

int closeStream(voidpf, voidpf) {
    return 0;
}

int streamError(voidpf, voidpf stream) {
    return streamOf(stream).bad() ? 1 : 0;
}

/// A zip without entries is one record at the start of the file, where the zip library does not look.
bool isEmptyZip(std::ifstream& stream) {
    std::array<char, 22> record = {};
    stream.clear();
    stream.seekg(0);
    stream.read(record.data(), record.size());
    return stream.gcount() == static_cast<std::streamsize>(record.size()) &&
           std::string_view(record.data(), 4) == "PK\5\6";
}

/// The name of the current entry; nothing when it cannot be read.
std::optional<std::string> currentName(unzFile zip) {
    unz_file_info64 info = {};
    if (unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK)
        return std::nullopt;
    std::string name(info.size_filename, '\0');
    if (unzGetCurrentFileInfo64(zip, &info, name.data(), info.size_filename, nullptr, 0, nullptr, 0) !=
        UNZ_OK) {
        return std::nullopt;
    }
    return name;
}

}  // namespace

struct Archive::Content {
    explicit Content(std::filesystem::path const& file) : stream(file, std::ios::binary) {
        if (!stream) return;
        zlib_filefunc64_def functions = {
            openStream, readStream, refuseToWrite, tellStream, seekStream, closeStream, streamError, &stream};
        zip = unzOpen2_64(nullptr, &functions);
    }
    Content(Content const&) = delete;
    Content& operator=(Content const&) = delete;
    ~Content() {
        if (zip != nullptr) unzClose(zip);
    }

    /// @return  Whether all names could be read.
    bool readNames() {
        unz_global_info64 info = {};
        if (unzGetGlobalInfo64(zip, &info) != UNZ_OK) return false;
        if (info.number_entry == 0) return true;
        int status = unzGoToFirstFile(zip);
        for (; status == UNZ_OK; status = unzGoToNextFile(zip)) {
            auto name = currentName(zip);
            unz64_file_pos position = {};
            if (!name || unzGetFilePos64(zip, &position) != UNZ_OK) return false;
            entries.insert_or_assign(*std::move(name), position);
        }
        return status == UNZ_END_OF_LIST_OF_FILE;
    }

    std::ifstream stream;
    unzFile zip = nullptr;
    std::map<std::string, unz64_file_pos> entries;
};

Archive::Archive(std::unique_ptr<Content> content) : content_(std::move(content)) {}

Archive::~Archive() = default;

std::unique_ptr<Archive> Archive::open(std::filesystem::path const& file) {
    auto content = std::make_unique<Content>(file);
    bool const isReadable = content->zip == nullptr ? isEmptyZip(content->stream) : content->readNames();
    if (!isReadable) return nullptr;
    return std::unique_ptr<Archive>(new Archive(std::move(content)));
}

std::set<std::string> Archive::topFolders() const {
    std::set<std::string> folders;
    for (auto const& [name, position] : content_->entries) {
        auto const slash = name.find('/');
        if (slash != std::string::npos && slash != 0) folders.insert(name.substr(0, slash));
    }
    return folders;
}

std::optional<std::string> Archive::read(std::string const& name, std::size_t limit) {
    auto const entry = content_->entries.find(name);
    if (entry == content_->entries.end()) return std::nullopt;
    auto const cannotRead = [&name] { return std::runtime_error(name + " cannot be read"); };
    if (unzGoToFilePos64(content_->zip, &entry->second) != UNZ_OK) throw cannotRead();
    unz_file_info64 info = {};
    if (unzGetCurrentFileInfo64(content_->zip, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK) {
        throw cannotRead();
    }
    // What it cannot decompress, the zip library may give as it is.
    if (info.compression_method != 0 && info.compression_method != Z_DEFLATED) throw cannotRead();
    // The zip library gives no more than the size that is written there, whatever the data become.
    if (info.uncompressed_size > limit) {
        throw std::runtime_error(name + " has more than " + std::to_string(limit) + " bytes");
    }
    if (unzOpenCurrentFile(content_->zip) != UNZ_OK) throw cannotRead();

    std::string text;
    std::array<char, 16384> buffer = {};
    int count = 0;
    while ((count = unzReadCurrentFile(content_->zip, buffer.data(), static_cast<unsigned>(buffer.size()))) >
           0) {
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    // Closing compares the checksum.
    if (unzCloseCurrentFile(content_->zip) != UNZ_OK || count < 0) throw cannotRead();
    return text;
}

}  // namespace cppmicroservices::detail
