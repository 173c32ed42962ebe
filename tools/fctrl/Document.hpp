#pragma once

#include <cstddef>
#include <deque>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace fctrl {

/// A file that cannot be read; the text says which and why.
class UnreadableFile : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A path of this system from UTF-8 and back.
std::filesystem::path toPath(std::string const& utf8);
std::string toUtf8(std::filesystem::path const& path);

/// The bytes of a file.
/// @param file  UTF-8.
/// @throws UnreadableFile  "<file>: <reason>".
std::string readFile(std::string const& file);

/// Where a part of a text lies: bytes from `begin` up to `end`.
struct Range {
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// A JSON value of a document, or a member of an object.
struct Entry {
    Range value;
    Range key;              ///< of a member, with its quotation marks; else empty
    std::string_view name;  ///< of a member, as it is meant
    std::size_t next = 0;   ///< the number of the entry that comes after all that this value holds
};

/// The text of one file, or of a manifest in a bundle, and where its parts are.
class Document {
public:
    struct Place {
        std::size_t line;    ///< from 1
        std::size_t column;  ///< in characters, from 1
    };

    /// A JSON document, or a file of another kind when `text` is empty.
    ///
    /// @param name  what messages call it.
    /// @param text  a byte order mark at its beginning is left out.
    Document(std::string name, std::string text);
    Document(Document const&) = delete;
    Document& operator=(Document const&) = delete;

    std::string const& name() const { return name_; }
    std::string_view text() const { return text_; }
    bool hadByteOrderMark() const { return hadByteOrderMark_; }

    Place place(std::size_t offset) const;

    /// The line that `offset` lies in, without its end.
    Range line(std::size_t offset) const;

    /// Finds the entries of the document, which `foundation::json::parse` takes.
    void findEntries();

    /// The document's value is the first entry; what a value holds comes after it, in the order of the text.
    std::vector<Entry> const& entries() const { return entries_; }

    /// The numbers of the entries right in the array or object `parent`.
    std::vector<std::size_t> children(std::size_t parent) const;

private:
    friend class EntryFinder;

    std::size_t charactersBefore(std::size_t offset) const;

    std::string name_;
    std::string text_;
    bool hadByteOrderMark_ = false;
    std::vector<std::size_t> lineStarts_;
    std::vector<std::size_t> blockCounts_;  // of the characters before each block: long lines stay quick
    std::vector<Entry> entries_;
    std::deque<std::string> keys_;  // those that are spelled with escapes
};

}  // namespace fctrl
