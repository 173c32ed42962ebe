#include <foundation/core/diag/stacktrace.hpp>

#include <boost/config.hpp>
#include <boost/stacktrace.hpp>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <ostream>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace foundation::core::diag {
namespace {

/// A file that is loaded into the process.
struct Module {
    std::string file;  // Empty when there is none.
    std::uintptr_t base = 0;
};

#if defined(_WIN32)

Module moduleOf(void const* address) {
    HMODULE handle = nullptr;
    DWORD const flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (::GetModuleHandleExW(flags, static_cast<wchar_t const*>(address), &handle) == 0) return {};

    std::wstring name(32768, L'\0');  // The longest path there is.
    DWORD const length = ::GetModuleFileNameW(handle, name.data(), static_cast<DWORD>(name.size()));
    auto const convert = [&](char* out, int size) {
        return ::WideCharToMultiByte(
            CP_UTF8, 0, name.data(), static_cast<int>(length), out, size, nullptr, nullptr);
    };
    std::string file(static_cast<std::size_t>(convert(nullptr, 0)), '\0');
    convert(file.data(), static_cast<int>(file.size()));
    return {file, reinterpret_cast<std::uintptr_t>(handle)};
}

#else

Module moduleOf(void const* address) {
    Dl_info info{};
    if (::dladdr(address, &info) == 0 || info.dli_fname == nullptr) return {};
    return {info.dli_fname, reinterpret_cast<std::uintptr_t>(info.dli_fbase)};
}

#endif

std::string hexadecimal(std::uintptr_t number) {
    char digits[2 * sizeof(number)];
    auto const result = std::to_chars(std::begin(digits), std::end(digits), number, 16);
    return "0x" + std::string(std::begin(digits), result.ptr);
}

std::string describeAddress(void const* address) {
    auto const number = reinterpret_cast<std::uintptr_t>(address);
    Module const module = moduleOf(address);
    std::string text;
    if (!module.file.empty()) text += module.file + "(+" + hexadecimal(number - module.base) + ") ";
    text += '[';
    text += hexadecimal(number);
    text += ']';
    return text;
}

std::string describeCall(void const* returnAddress) {
    // The call stands before the address it returns to, which may belong to the next line or function.
    auto const* const call = static_cast<char const*>(returnAddress) - 1;
    std::string description = boost::stacktrace::to_string(boost::stacktrace::frame(call));
    // Without a name Boost starts with an address.
    if (description.empty() || description.starts_with("0x")) return describeAddress(returnAddress);
    return description;
}

// The calls that belong to the capture itself: the constructor and, on Windows, one of Boost's.
#if defined(_WIN32)
constexpr std::size_t ownCalls = 2;
#else
constexpr std::size_t ownCalls = 1;
#endif

}  // namespace

// Not inlined, so that it is exactly one call; what follows the capture keeps it from becoming a jump.
BOOST_NOINLINE stacktrace_base::stacktrace_base(std::size_t depth, std::size_t skip, bool symbols)
    : symbols_(symbols) {
    // Boost adds its own calls to the number, and Windows takes 32 bits of it: half of what they hold is more than any
    // stack does.
    std::size_t const skipped =
        std::min<std::size_t>(skip, std::numeric_limits<std::uint32_t>::max() / 2) + ownCalls;
    boost::stacktrace::stacktrace const captured(skipped, depth);
    returnAddresses_.reserve(captured.size());
    for (boost::stacktrace::frame const& frame : captured)
        returnAddresses_.push_back(frame.address());
}

void stacktrace_base::format(std::ostream& out) const {
    std::string text;
    std::size_t number = 0;
    for (void const* const address : returnAddresses_) {
        text += std::to_string(number++) + "# " +
                (symbols_ ? describeCall(address) : describeAddress(address)) + "\n";
    }
    // Unformatted: the stream's width and fill are not meant for this.
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace foundation::core::diag
