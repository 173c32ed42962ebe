#include "InstallationRoot.hpp"

#include <foundation/cppmicroservices.hpp>

#include <fl/i18n.hpp>

#include <mutex>
#include <string>
#include <system_error>
#include <utility>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace foundation::cppmicroservices {
namespace {

struct RootSetting {
    std::mutex mutex;  // Guards the member below.
    fl::filesystem::path root;
};

/// Never destroyed: it may be asked for by other static objects.
RootSetting& rootSetting() {
    static auto* const setting = new RootSetting;
    return *setting;
}

#if defined(_WIN32)

std::filesystem::path runningProgram() {
    std::wstring name(MAX_PATH, L'\0');
    for (;;) {
        DWORD const length = GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size()));
        if (length == 0) {
            throw std::filesystem::filesystem_error(
                "cannot find the running program",
                std::error_code(static_cast<int>(GetLastError()), std::system_category()));
        }
        if (length < name.size()) {
            name.resize(length);
            return name;
        }
        name.resize(2 * name.size());  // It was cut off.
    }
}

bool isNamed(std::filesystem::path const& folder, wchar_t const* name) {
    return CompareStringOrdinal(folder.filename().c_str(), -1, name, -1, TRUE) == CSTR_EQUAL;
}

bool isProgramFolder(std::filesystem::path const& folder) {
    return isNamed(folder, L"win64") && isNamed(folder.parent_path(), L"bin");
}

#else

std::filesystem::path runningProgram() {
    return std::filesystem::read_symlink("/proc/self/exe");
}

bool isProgramFolder(std::filesystem::path const& folder) {
    return folder.filename() == "win64" && folder.parent_path().filename() == "bin";
}

#endif

std::filesystem::path defaultRoot() {
    fl::filesystem::path const variable(fl::i18n::getenv("FOUNDATION_ROOT"));
    if (!variable.ustring().empty()) return variable;
    std::filesystem::path const folder = runningProgram().parent_path();
    return isProgramFolder(folder) ? folder.parent_path().parent_path() : folder;
}

}  // namespace

void setInstallationRoot(fl::filesystem::path root) {
    std::lock_guard const lock(rootSetting().mutex);
    rootSetting().root = std::move(root);
}

std::filesystem::path detail::installationRoot() {
    fl::filesystem::path root;
    {
        std::lock_guard const lock(rootSetting().mutex);
        root = rootSetting().root;
    }
    return std::filesystem::absolute(root.ustring().empty() ? defaultRoot() : std::filesystem::path(root));
}

}  // namespace foundation::cppmicroservices
