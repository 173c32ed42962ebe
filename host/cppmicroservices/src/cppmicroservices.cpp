#include <foundation/cppmicroservices.hpp>

#include <foundation/log/diagnostic_logger.hpp>

#include "InstallationRoot.hpp"

#include <cppmicroservices/BundleContext.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <functional>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#if !defined(_WIN32)
#include <dirent.h>
#endif

namespace foundation::cppmicroservices {
namespace {

namespace fs = std::filesystem;
using ::cppmicroservices::Bundle;
using ::cppmicroservices::Framework;

struct FrameworkSetting {
    std::mutex mutex;  // Guards the member below.
    std::shared_ptr<Framework> framework;
};

/// Never destroyed: by the time static objects are, a framework could not be stopped in good order any more.
/// Made in place: to ask whether there is a framework needs no memory.
FrameworkSetting& frameworkSetting() {
    alignas(FrameworkSetting) static std::byte storage[sizeof(FrameworkSetting)];
    static auto* const setting = new (storage) FrameworkSetting;
    return *setting;
}

/// As the framework spells paths: UTF-8.
/// @throws  std::exception for a name of Windows that is no well-formed text.
std::string utf8(fs::path const& path) {
    std::u8string const text = path.u8string();
    return {text.begin(), text.end()};
}

/// As the log shows paths, any of them.
std::string shown(fs::path const& path) {
    try {
        return utf8(path);
    } catch (std::exception const&) {
        std::string text;
        for (auto const unit : path.native())
            text += unit >= 0x20 && unit < 0x7F ? static_cast<char>(unit) : '?';
        return text;
    }
}

void logFailure(std::string const& file, std::string_view reason) {
    static log::basic_diagnostic_logger<char> logger("foundation::cppmicroservices");
    logger.write(512,
                 log::SourceLocation{"host/cppmicroservices/src/cppmicroservices.cpp", __func__, __LINE__},
                 [&](std::ostream& out) { out << "left out " << file << ": " << reason; });
}

/// @return  Whether `step` threw nothing; else that is logged.
bool succeeds(std::string const& file, std::function<void()> const& step) {
    try {
        step();
        return true;
    } catch (std::exception const& error) {
        logFailure(file, error.what());
    } catch (...) {
        logFailure(file, "unknown exception");
    }
    return false;
}

bool isBundleName(fs::path const& name) {
    static constexpr std::array<std::string_view, 4> endings = {".dll", ".so", ".dylib", ".zip"};
    // As the system has it: not every name can be converted.
    fs::path::string_type const& text = name.native();
    return std::any_of(endings.begin(), endings.end(), [&](std::string_view ending) {
        return text.size() >= ending.size() && std::equal(ending.rbegin(), ending.rend(), text.rbegin());
    });
}

/// Whether a file lies there. A folder is none; whatever else has the name of a bundle is logged, and not opened: that
/// could wait for ever.
bool isBundleFile(fs::path const& file) {
    std::error_code error;
    fs::file_status const status = fs::status(file, error);
    if (fs::is_regular_file(status)) return true;
    if (!fs::is_directory(status)) logFailure(shown(file), error ? error.message() : "it is no file");
    return false;
}

/// Whether the folder must not be listed: with a path of more than MAX_PATH units, mingw-w64 would list any other one.
bool isTooLong([[maybe_unused]] fs::path const& folder) {
#if defined(__MINGW32__)
    return folder.native().size() >= 260;
#else
    return false;
#endif
}

/// The names of what lies in `folder`, as far as no error comes.
#if defined(_WIN32)

std::vector<fs::path> list(fs::path const& folder, std::error_code& error) {
    std::vector<fs::path> names;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
        names.push_back(entry->path().filename());
    return names;
}

#else

// The standard library of g++ 12 ends the process when memory runs out while it lists a folder.
std::vector<fs::path> list(fs::path const& folder, std::error_code& error) {
    std::vector<fs::path> names;
    std::unique_ptr<DIR, int (*)(DIR*)> const open(opendir(folder.c_str()), closedir);
    if (open) {
        errno = 0;
        // NOLINTNEXTLINE(concurrency-mt-unsafe): unsafe on a stream that threads share; this one is the call's own
        while (dirent const* const entry = readdir(open.get())) {
            names.emplace_back(entry->d_name);  // "." and ".." too: folders, as whoever wants files will see.
            errno = 0;
        }
    }
    if (!open || errno != 0) error.assign(errno, std::generic_category());
    return names;
}

#endif

/// The names of the bundle files in `folder`, in order; none when there is no such folder.
std::vector<fs::path> bundleFiles(fs::path const& folder) {
    std::vector<fs::path> names;
    std::error_code error;
    if (isTooLong(folder)) {
        error = std::make_error_code(std::errc::filename_too_long);
        std::error_code ignored;  // What cannot be looked at is no folder.
        if (fs::exists(folder, ignored)) logFailure(shown(folder), error.message());
        return names;
    }
    names = list(folder, error);
    if (error == std::errc::no_such_file_or_directory) return names;
    if (error) logFailure(shown(folder), error.message());
    std::erase_if(names,
                  [&](fs::path const& name) { return !isBundleName(name) || !isBundleFile(folder / name); });
    std::sort(names.begin(), names.end(), [](fs::path const& left, fs::path const& right) {
        return left.native() < right.native();
    });
    return names;
}

std::vector<Bundle> install(std::string const& file) {
    auto const framework = getFramework();
    if (!framework) throw std::runtime_error("there is no service framework");
    return framework->GetBundleContext().InstallBundles(file);
}

}  // namespace

std::shared_ptr<Framework> getFramework() {
    std::lock_guard const lock(frameworkSetting().mutex);
    return frameworkSetting().framework;
}

void setFramework(std::shared_ptr<Framework> framework) {
    {
        std::lock_guard const lock(frameworkSetting().mutex);
        std::swap(frameworkSetting().framework, framework);
    }
    // The earlier one goes here, after the lock: it may stop its bundles, and they may ask for the framework.
}

std::vector<Bundle> installAndStart(fl::filesystem::path const& folder) {
    // Always the same spelling for the same file: the framework tells bundles apart by it.
    fs::path const place = (detail::installationRoot() / fs::path(folder)).lexically_normal();
    std::vector<Bundle> started;
    for (fs::path const& name : bundleFiles(place)) {
        std::string const file = shown(place / name);
        std::vector<Bundle> installed;
        if (!succeeds(file, [&] { installed = install(utf8(place / name)); })) continue;
        for (Bundle& bundle : installed) {
            if (succeeds(file, [&bundle] { bundle.Start(); })) started.push_back(std::move(bundle));
        }
    }
    return started;
}

}  // namespace foundation::cppmicroservices
