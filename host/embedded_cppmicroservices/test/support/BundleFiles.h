#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <unordered_map>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

/// Files and frameworks for tests of bundles.
namespace bundle_test {

/// A folder of its own for each object, removed with it.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;
    ~TemporaryFolder();

    [[nodiscard]] std::filesystem::path const& path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// A path as bundles spell their locations.
std::string text(std::filesystem::path const& path);

using Entries = std::map<std::string, std::string>;  // Content by name inside the zip.

void writeFile(std::filesystem::path const& file, std::string const& content);
/// Writes a zip; returns its location.
std::string writeZip(std::filesystem::path const& file, Entries const& entries);
/// Copies `library` to `file` and appends a zip; returns its location.
std::string
writeLibrary(std::filesystem::path const& file, std::filesystem::path const& library, Entries const& entries);

/// A manifest with that symbolic name; `more` is further members, such as `"a": 1, "b": 2`.
std::string manifest(std::string const& symbolicName, std::string const& more = {});
/// The entry of a bundle with that manifest.
Entries bundle(std::string const& symbolicName, std::string const& more = {});

/// A framework that runs as long as the object exists.
class RunningFramework {
public:
    explicit RunningFramework(std::unordered_map<std::string, cppmicroservices::Any> const& properties = {});
    RunningFramework(RunningFramework const&) = delete;
    RunningFramework& operator=(RunningFramework const&) = delete;
    ~RunningFramework();

    void stop();
    [[nodiscard]] cppmicroservices::BundleContext context() const { return framework.GetBundleContext(); }

    cppmicroservices::Framework framework;
};

/// The text of the exception that `code` throws; it must be an E.
template <class E>
std::string textOf(std::function<void()> const& code) {
    try {
        code();
    } catch (E const& error) {
        return error.what();
    } catch (std::exception const& error) {
        return std::string("an exception of another type: ") + error.what();
    }
    return "no exception";
}

/// Runs `code` on several threads, which begin at the same time and are given their numbers from 0.
void together(int threads, std::function<void(int)> const& code);

}  // namespace bundle_test
