#include "Document.hpp"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <system_error>
#include <utility>

namespace fctrl {
namespace {

constexpr std::size_t blockSize = 4096;

/// Offsets in a text are of 32 bits in the reader.
constexpr std::size_t largestFile = std::size_t{1} << 30U;

bool startsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80;
}

std::size_t countCharacters(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), startsCharacter));
}

}  // namespace

std::filesystem::path toPath(std::string const& utf8) {
#if defined(_WIN32)
    return {std::u8string(utf8.begin(), utf8.end())};
#else
    // As it is: not every name is text.
    return {utf8};
#endif
}

std::string toUtf8(std::filesystem::path const& path) {
#if defined(_WIN32)
    std::u8string const text = path.u8string();
    return {text.begin(), text.end()};
#else
    return path.native();
#endif
}

std::string readFile(std::string const& file) {
    std::filesystem::path const path = toPath(file);
    std::error_code ignored;  // What cannot be looked at cannot be opened either.
    if (std::filesystem::is_directory(path, ignored)) throw UnreadableFile(file + ": is a folder");
    // A stream gives no reason; the system's last error does.
    auto const fail = [&] {
        throw UnreadableFile(file + ": cannot be read: " + std::generic_category().message(errno));
    };
    errno = 0;
    std::ifstream input(path, std::ios::binary);
    if (!input) fail();
    std::string text;
    std::array<char, 65536> block;
    while (input.read(block.data(), block.size()), input.gcount() > 0) {
        text.append(block.data(), static_cast<std::size_t>(input.gcount()));
        if (text.size() > largestFile) throw UnreadableFile(file + ": has more than 1 GiB");
    }
    if (input.bad()) fail();
    return text;
}

/// Takes down where the reader finds values. Between two of them there are only blanks, commas and colons, so that each
/// begins with the first other byte after the end of the one before.
class EntryFinder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, EntryFinder> {
public:
    EntryFinder(Document& document, rapidjson::MemoryStream const& stream)
        : document_(document), stream_(stream) {}

    bool Default() { return add(stream_.Tell()); }
    bool RawNumber(char const*, rapidjson::SizeType length, bool) { return add(begin() + length); }
    bool String(char const*, rapidjson::SizeType, bool) { return add(stream_.Tell()); }

    bool Key(char const* text, rapidjson::SizeType length, bool) {
        key_ = {begin(), stream_.Tell()};
        end_ = key_.end;
        std::string_view const raw =
            std::string_view(document_.text_).substr(key_.begin + 1, key_.end - key_.begin - 2);
        std::string_view const name(text, length);
        name_ = raw == name ? raw : document_.keys_.emplace_back(name);
        return true;
    }

    bool StartObject() { return open(); }
    bool StartArray() { return open(); }
    bool EndObject(rapidjson::SizeType) { return close(); }
    bool EndArray(rapidjson::SizeType) { return close(); }

private:
    std::size_t begin() const { return document_.text_.find_first_not_of(" \t\r\n,:", end_); }

    bool add(std::size_t end) {
        std::size_t const number = document_.entries_.size();
        document_.entries_.push_back(
            {{begin(), end}, std::exchange(key_, {}), std::exchange(name_, {}), number + 1});
        end_ = end;
        return true;
    }

    bool open() {
        open_.push_back(document_.entries_.size());
        return add(begin() + 1);
    }

    bool close() {
        Entry& entry = document_.entries_[open_.back()];
        open_.pop_back();
        end_ = entry.value.end = begin() + 1;
        entry.next = document_.entries_.size();
        return true;
    }

    Document& document_;
    rapidjson::MemoryStream const& stream_;
    std::size_t end_ = 0;  // of the last value or key
    Range key_;
    std::string_view name_;
    std::vector<std::size_t> open_;
};

Document::Document(std::string name, std::string text) : name_(std::move(name)), text_(std::move(text)) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    hadByteOrderMark_ = text_.starts_with(byteOrderMark);
    if (hadByteOrderMark_) text_.erase(0, byteOrderMark.size());

    lineStarts_.push_back(0);
    for (std::size_t at = text_.find('\n'); at != std::string::npos; at = text_.find('\n', at + 1))
        lineStarts_.push_back(at + 1);
    std::size_t count = 0;
    for (std::size_t at = 0; at <= text_.size(); at += blockSize) {
        blockCounts_.push_back(count);
        count += countCharacters(std::string_view(text_).substr(at, blockSize));
    }
}

std::size_t Document::charactersBefore(std::size_t offset) const {
    std::size_t const block = offset / blockSize;
    return blockCounts_[block] +
           countCharacters(std::string_view(text_).substr(block * blockSize, offset - block * blockSize));
}

Document::Place Document::place(std::size_t offset) const {
    offset = std::min(offset, text_.size());
    auto const after = std::upper_bound(lineStarts_.begin(), lineStarts_.end(), offset);
    return {static_cast<std::size_t>(after - lineStarts_.begin()),
            1 + charactersBefore(offset) - charactersBefore(*(after - 1))};
}

Range Document::line(std::size_t offset) const {
    offset = std::min(offset, text_.size());
    auto const after = std::upper_bound(lineStarts_.begin(), lineStarts_.end(), offset);
    Range line{*(after - 1), after == lineStarts_.end() ? text_.size() : *after - 1};
    if (line.end > line.begin && text_[line.end - 1] == '\r') --line.end;
    return line;
}

void Document::findEntries() {
    rapidjson::MemoryStream stream(text_.data(), text_.size());
    EntryFinder finder(*this, stream);
    rapidjson::Reader reader;
    reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag>(stream, finder);
}

std::vector<std::size_t> Document::children(std::size_t parent) const {
    std::vector<std::size_t> numbers;
    for (std::size_t i = parent + 1; i < entries_[parent].next; i = entries_[i].next)
        numbers.push_back(i);
    return numbers;
}

}  // namespace fctrl
