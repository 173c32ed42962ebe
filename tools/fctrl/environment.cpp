#include "environment.hpp"

#include "text.hpp"

#if defined(_WIN32)
#include <windows.h>

#include <memory>
#else
#include <cstdlib>
#include <unistd.h>
#endif

namespace fctrl {
namespace {

#if defined(_WIN32)

/// UTF-8; U+FFFD in place of half a surrogate pair.
std::string narrow(std::wstring_view text) {
    int const units = static_cast<int>(text.size());
    int const bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), units, result.data(), bytes, nullptr, nullptr);
    return result;
}

struct EnvironmentFreeing {
    void operator()(wchar_t* block) const { FreeEnvironmentStringsW(block); }
};

/// Calls `use` with the text of each variable, "<name>=<value>".
template <class Use>
void forEachVariable(Use use) {
    std::unique_ptr<wchar_t, EnvironmentFreeing> const block(GetEnvironmentStringsW());
    if (!block) return;
    for (wchar_t const* text = block.get(); *text != L'\0'; text += std::wstring_view(text).size() + 1)
        use(narrow(text));
}

std::string comparable(std::string_view name) {
    return smallLetters(name);
}

#else

template <class Use>
void forEachVariable(Use use) {
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable)
        use(std::string(*variable));
}

std::string comparable(std::string_view name) {
    return std::string(name);
}

#endif

}  // namespace

std::map<std::string, std::string> featureVariables() {
    std::map<std::string, std::string> variables;
    forEachVariable([&](std::string const& text) {
        std::size_t const end = text.find('=', 1);
        std::string const name = text.substr(0, end);
        bool const isOurs = comparable(name).starts_with(comparable(variablePrefix));
        if (isOurs && end != std::string::npos && end + 1 < text.size())
            variables.emplace(name, text.substr(end + 1));
    });
    return variables;
}

void removeFeatureVariables() {
    for (auto const& [name, value] : featureVariables()) {
#if defined(_WIN32)
        // ASCII after all: a feature's name is.
        SetEnvironmentVariableW(std::wstring(name.begin(), name.end()).c_str(), nullptr);
#else
        unsetenv(name.c_str());  // NOLINT(concurrency-mt-unsafe): there is no other thread yet
#endif
    }
}

bool isVariableOf(std::string_view variable, std::string_view feature) {
    return comparable(variable) == comparable(std::string(variablePrefix) + std::string(feature));
}

}  // namespace fctrl
