#include "platform.hpp"

#if defined(_WIN32)
#include <fl/filesystem.hpp>
#include <fl/i18n.hpp>

#include <windows.h>

// After windows.h, which it needs.
#include <shellapi.h>

#include <memory>
#include <stdexcept>
#endif

namespace demo {

#if defined(_WIN32)

namespace {

struct LocalFreeing {
    void operator()(LPWSTR* texts) const { LocalFree(texts); }
};

}  // namespace

std::vector<std::string> commandLine(int, char**) {
    // Not from argv: its texts lack every letter that the code page lacks.
    int count = 0;
    std::unique_ptr<LPWSTR, LocalFreeing> const texts(CommandLineToArgvW(GetCommandLineW(), &count));
    if (!texts) throw std::runtime_error("the command line cannot be read");
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) {
        std::wstring const text = texts.get()[i];
        arguments.push_back(fl::i18n::to_string(std::u16string(text.begin(), text.end())));
    }
    return arguments;
}

std::filesystem::path programFolder() {
    std::wstring program(MAX_PATH, L'\0');
    for (;;) {
        DWORD const size = GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
        if (size == 0) throw std::runtime_error("the program's own folder cannot be found");
        if (size < program.size()) {
            program.resize(size);
            return std::filesystem::path(program).parent_path();
        }
        program.resize(2 * program.size());
    }
}

#else

std::vector<std::string> commandLine(int argc, char** argv) {
    // argc may be 0: the caller of exec decides.
    return argc > 0 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

std::filesystem::path programFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

#endif

}  // namespace demo
