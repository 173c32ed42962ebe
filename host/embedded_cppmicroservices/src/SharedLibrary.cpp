#include "SharedLibrary.h"

#include <filesystem>
#include <system_error>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace cppmicroservices::detail {

#if defined(_WIN32)

void* loadLibrary(std::string const& location) {
    std::u8string const utf8(location.begin(), location.end());
    std::filesystem::path const file =
        std::filesystem::absolute(std::filesystem::path(utf8)).make_preferred();
    // Libraries beside the bundle are found as well as those beside the program; failing that, those on the search path.
    HMODULE library = LoadLibraryExW(
        file.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    if (library == nullptr && GetLastError() == ERROR_MOD_NOT_FOUND) {
        library = LoadLibraryExW(file.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    }
    if (library == nullptr) {
        std::error_code const code(static_cast<int>(GetLastError()), std::system_category());
        throw std::system_error(code, "Error loading " + location + '.');
    }
    return library;
}

void* findFunction(void* library, std::string const& name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name.c_str()));
}

#else

void* loadLibrary(std::string const& location) {
    void* const library = dlopen(location.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (library == nullptr) {
        // The system's reason is a text; there is no error code to go with it.
        throw std::system_error(
            std::make_error_code(std::errc()),
            // NOLINTNEXTLINE(concurrency-mt-unsafe): dlerror keeps each thread's error apart
            "Error loading " + location + ". " + dlerror());
    }
    return library;
}

void* findFunction(void* library, std::string const& name) {
    return dlsym(library, name.c_str());
}

#endif

}  // namespace cppmicroservices::detail
