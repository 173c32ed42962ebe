#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace cppmicroservices::detail {

/// Reads a zip that is a file or the end of one.
class Archive {
public:
    /// @return  Null when `file` cannot be read or is no zip. Pipes, sockets and devices are none, and not opened.
    static std::unique_ptr<Archive> open(std::filesystem::path const& file);

    Archive(Archive const&) = delete;
    Archive& operator=(Archive const&) = delete;
    ~Archive();

    /// The names before the first slash, of the entries that have one.
    [[nodiscard]] std::set<std::string> topFolders() const;

    /// @param limit  The most bytes that are read.
    /// @return       The entry's content; nothing when there is no such entry. Of equal names the last counts.
    /// @throws std::runtime_error  "<name> cannot be read"; "<name> is encrypted";
    ///                             "<name> has more than <limit> bytes".
    [[nodiscard]] std::optional<std::string> read(std::string const& name, std::size_t limit);

private:
    struct Content;

    explicit Archive(std::unique_ptr<Content> content);

    std::unique_ptr<Content> content_;
};

}  // namespace cppmicroservices::detail
