#include "environment.hpp"

#include <fl/i18n.hpp>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

#if defined(_WIN32)
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace foundation::feature::inspector {
namespace {

/// The names of the variables that may be overrides, in UTF-8.
std::vector<std::string> variableNames() {
    std::vector<std::string> names;
    auto const add = [&](std::string entry) {
        entry.erase(std::min(entry.find('='), entry.size()));
        if (variableKey(entry).starts_with(variableKey(std::string(overridePrefix))))
            names.push_back(std::move(entry));
    };
#if defined(_WIN32)
    static_assert(sizeof(wchar_t) == sizeof(char16_t));
    std::unique_ptr<wchar_t, decltype(&FreeEnvironmentStringsW)> const block(GetEnvironmentStringsW(),
                                                                             &FreeEnvironmentStringsW);
    if (block == nullptr) return names;
    for (wchar_t const* entry = block.get(); *entry != L'\0';) {
        std::wstring const text = entry;
        entry += text.size() + 1;
        try {
            add(fl::i18n::to_string(std::u16string(text.begin(), text.end())));
        } catch (std::range_error const&) {
            // Ill-formed: no feature can have this name.
        }
    }
#else
    for (char* const* entry = environ; entry != nullptr && *entry != nullptr; ++entry)
        add(*entry);
#endif
    return names;
}

}  // namespace

std::string variableKey(std::string name) {
#if defined(_WIN32)
    for (char& character : name) {
        if (character >= 'a' && character <= 'z') character = static_cast<char>(character - 'a' + 'A');
    }
#endif
    return name;
}

std::optional<int> overrideValue(std::string const& text) {
    try {
        std::size_t used = 0;
        int const value = std::stoi(text, &used);
        if (used == text.size()) return value;
    } catch (std::logic_error const&) {
        // No number, or one that is too large: the library passes over it as well.
    }
    return std::nullopt;
}

std::vector<Variable> overrideVariables() {
    std::vector<Variable> variables;
    for (std::string& name : variableNames()) {
        try {
            std::string text = fl::i18n::to_string(fl::i18n::getenv(name));
            if (!text.empty()) variables.push_back({std::move(name), std::move(text)});
        } catch (std::range_error const&) {
            // Ill-formed: a feature that it names could not be registered, so there is none to show it with.
        }
    }
    std::sort(variables.begin(), variables.end(), [](Variable const& one, Variable const& other) {
        return one.name < other.name;
    });
    return variables;
}

}  // namespace foundation::feature::inspector
