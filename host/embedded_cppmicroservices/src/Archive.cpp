#include "Archive.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <limits>
#include <map>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <unzip.h>

namespace cppmicroservices::detail {

namespace {

/// A file that the zip library reads byte by byte and all over the place: one block of it is kept, so that only what lies
/// elsewhere is asked of the system.
class BlockFile {
public:
    explicit BlockFile(std::filesystem::path const& file) : stream_(file, std::ios::binary) {
        stream_.seekg(0, std::ios::end);
        if (stream_) size_ = static_cast<std::uint64_t>(static_cast<std::streamoff>(stream_.tellg()));
    }

    bool isOpen() const { return stream_.is_open(); }
    std::uint64_t size() const { return size_; }

    /// @return  How many bytes there were, from `position` on, which is moved behind them.
    std::size_t read(char* buffer, std::size_t count) {
        std::size_t done = 0;
        while (done < count && position < size_ && load()) {
            auto const offset = static_cast<std::size_t>(position - blockAt_);
            std::size_t const part = std::min(count - done, blockSize_ - offset);
            std::copy_n(block_.begin() + static_cast<std::ptrdiff_t>(offset), part, buffer + done);
            done += part;
            position += part;
        }
        wasCutShort_ = done < count;
        return done;
    }

    /// Whether the last reading gave less than was asked for.
    bool wasCutShort() const { return wasCutShort_; }

    std::uint64_t position = 0;

private:
    /// @return  Whether the block holds the byte at `position`.
    bool load() {
        if (position >= blockAt_ && position - blockAt_ < blockSize_) return true;
        blockAt_ = position / block_.size() * block_.size();
        stream_.clear();
        stream_.seekg(static_cast<std::streamoff>(blockAt_));
        stream_.read(block_.data(), static_cast<std::streamsize>(block_.size()));
        blockSize_ = static_cast<std::size_t>(stream_.gcount());
        return position - blockAt_ < blockSize_;
    }

    std::ifstream stream_;
    std::uint64_t size_ = 0;
    bool wasCutShort_ = false;
    std::array<char, 65536> block_ = {};
    std::uint64_t blockAt_ = 0;
    std::size_t blockSize_ = 0;
};

// What the zip library calls to read a file. It has functions of its own for that, but none that takes a path
// with any character on every platform.
BlockFile& fileOf(voidpf stream) {
    return *static_cast<BlockFile*>(stream);
}

voidpf openStream(voidpf opaque, void const*, int) {
    return opaque;
}

uLong readStream(voidpf, voidpf stream, void* buffer, uLong size) {
    return static_cast<uLong>(fileOf(stream).read(static_cast<char*>(buffer), size));
}

uLong refuseToWrite(voidpf, voidpf, void const*, uLong) {
    return 0;
}

ZPOS64_T tellStream(voidpf, voidpf stream) {
    return fileOf(stream).position;
}

long seekStream(voidpf, voidpf stream, ZPOS64_T offset, int origin) {
    BlockFile& file = fileOf(stream);
    std::uint64_t const from = origin == ZLIB_FILEFUNC_SEEK_CUR   ? file.position
                               : origin == ZLIB_FILEFUNC_SEEK_END ? file.size()
                                                                  : 0;
    std::uint64_t const to =
        from + offset;  // Backwards by the complement, which is how the zip library does it.
    if (to > static_cast<std::uint64_t>(std::numeric_limits<std::streamoff>::max())) return -1;
    file.position = to;
    return 0;
}

int closeStream(voidpf, voidpf) {
    return 0;
}

/// Without this, the zip library takes what is missing at the end of a file for zeros, thousands of them.
int streamError(voidpf, voidpf stream) {
    return fileOf(stream).wasCutShort() ? 1 : 0;
}

/// A zip without entries is one record at the start of the file, where the zip library does not look.
bool isEmptyZip(BlockFile& file) {
    std::array<char, 22> record = {};
    file.position = 0;
    return file.read(record.data(), record.size()) == record.size() &&
           std::string_view(record.data(), 4) == "PK\5\6";
}

}  // namespace

struct Archive::Content {
    explicit Content(std::filesystem::path const& path) : file(path) {
        if (!file.isOpen()) return;
        zlib_filefunc64_def functions = {
            openStream, readStream, refuseToWrite, tellStream, seekStream, closeStream, streamError, &file};
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
        std::vector<char> name(std::numeric_limits<std::uint16_t>::max());  // the longest
        int status = unzGoToFirstFile(zip);
        for (; status == UNZ_OK; status = unzGoToNextFile(zip)) {
            unz_file_info64 entry = {};
            unz64_file_pos position = {};
            if (unzGetCurrentFileInfo64(
                    zip, &entry, name.data(), static_cast<uLong>(name.size()), nullptr, 0, nullptr, 0) !=
                    UNZ_OK ||
                unzGetFilePos64(zip, &position) != UNZ_OK) {
                return false;
            }
            entries.insert_or_assign(std::string(name.data(), entry.size_filename), position);
        }
        return status == UNZ_END_OF_LIST_OF_FILE;
    }

    BlockFile file;
    unzFile zip = nullptr;
    std::map<std::string, unz64_file_pos> entries;
};

Archive::Archive(std::unique_ptr<Content> content) : content_(std::move(content)) {}

Archive::~Archive() = default;

std::unique_ptr<Archive> Archive::open(std::filesystem::path const& file) {
    // To open a pipe would wait for its other end, and a device may have no end.
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) return nullptr;
    auto content = std::make_unique<Content>(file);
    bool const isReadable = content->zip == nullptr ? isEmptyZip(content->file) : content->readNames();
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
    constexpr uLong encrypted = 1;
    if ((info.flag & encrypted) != 0) throw std::runtime_error(name + " is encrypted");
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
    // Closing compares the checksum, but only of data that became as many as they should.
    if (unzCloseCurrentFile(content_->zip) != UNZ_OK || count < 0 || text.size() != info.uncompressed_size) {
        throw cannotRead();
    }
    return text;
}

}  // namespace cppmicroservices::detail
