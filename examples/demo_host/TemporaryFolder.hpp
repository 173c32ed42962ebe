#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <system_error>

namespace demo::test {

/// An empty folder of its own, gone with this object.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::random_device random;
        do {
            path = std::filesystem::temp_directory_path() / ("demo_host_" + std::to_string(random()));
        } while (!std::filesystem::create_directory(path));
    }

    ~TemporaryFolder() {
        std::error_code ignored;  // A leftover folder fails no test.
        std::filesystem::remove_all(path, ignored);
    }

    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;

    /// Writes a file into the folder.
    /// @return  its path in UTF-8.
    std::string write(std::string const& name, std::string const& content) const {
        std::filesystem::path const file = path / name;
        std::ofstream(file, std::ios::binary) << content;
        return file.generic_string();
    }

    std::filesystem::path path;
};

}  // namespace demo::test
