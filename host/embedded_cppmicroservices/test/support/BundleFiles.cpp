#include "BundleFiles.h"

#include <support/Latch.hpp>

#include <chrono>
#include <fstream>
#include <random>
#include <thread>
#include <vector>

#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <zip.h>

namespace bundle_test {

namespace {

void addZip(std::filesystem::path const& file, Entries const& entries, int mode) {
    // The zip library cannot open a file of any name on every platform: it writes to one elsewhere.
    TemporaryFolder const folder;
    std::filesystem::path const plain = folder.path() / "zip";
    if (mode == APPEND_STATUS_CREATEAFTER) std::filesystem::rename(file, plain);
    zipFile const zip = zipOpen64(text(plain).c_str(), mode);
    if (zip == nullptr) throw std::runtime_error("cannot write " + text(file));
    for (auto const& [name, content] : entries) {
        zip_fileinfo const info = {};
        int status = zipOpenNewFileInZip64(
            zip, name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED, Z_DEFAULT_COMPRESSION, 0);
        if (status == ZIP_OK) {
            status = zipWriteInFileInZip(zip, content.data(), static_cast<unsigned>(content.size()));
        }
        if (status != ZIP_OK || zipCloseFileInZip(zip) != ZIP_OK) {
            throw std::runtime_error("cannot write " + name + " to " + text(file));
        }
    }
    if (zipClose(zip, nullptr) != ZIP_OK) throw std::runtime_error("cannot write " + text(file));
    std::filesystem::rename(plain, file);
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
    std::random_device random;
    do {
        path_ = std::filesystem::temp_directory_path() / ("bundle_test_" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;  // A loaded library cannot be removed everywhere.
    std::filesystem::remove_all(path_, ignored);
}

std::string text(std::filesystem::path const& path) {
    std::u8string const utf8 = path.u8string();
    return {utf8.begin(), utf8.end()};
}

void writeFile(std::filesystem::path const& file, std::string const& content) {
    std::ofstream(file, std::ios::binary) << content;
}

std::string writeZip(std::filesystem::path const& file, Entries const& entries) {
    addZip(file, entries, APPEND_STATUS_CREATE);
    return text(file);
}

std::string writeLibrary(std::filesystem::path const& file,
                         std::filesystem::path const& library,
                         Entries const& entries) {
    std::filesystem::copy_file(library, file);
    addZip(file, entries, APPEND_STATUS_CREATEAFTER);
    return text(file);
}

std::string manifest(std::string const& symbolicName, std::string const& more) {
    return "{\"bundle.symbolic_name\": \"" + symbolicName + '"' + (more.empty() ? "" : ", ") + more + '}';
}

Entries bundle(std::string const& symbolicName, std::string const& more) {
    return {{symbolicName + "/manifest.json", manifest(symbolicName, more)}};
}

RunningFramework::RunningFramework(std::unordered_map<std::string, cppmicroservices::Any> const& properties)
    : framework(cppmicroservices::FrameworkFactory().NewFramework(properties)) {
    framework.Start();
}

RunningFramework::~RunningFramework() {
    stop();
}

void RunningFramework::stop() {
    framework.Stop();
    framework.WaitForStop(std::chrono::milliseconds::zero());
}

void together(int threads, std::function<void(int)> const& code) {
    foundation::test::Latch start(threads);
    std::vector<std::jthread> running;
    for (int number = 0; number < threads; ++number) {
        running.emplace_back([&, number] {
            start.arriveAndWait();
            code(number);
        });
    }
}

}  // namespace bundle_test
