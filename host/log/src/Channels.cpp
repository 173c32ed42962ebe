#include "Channels.hpp"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <system_error>
#include <utility>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace foundation::log {
namespace {

constexpr unsigned defaultMask = 512;
constexpr char const* everyChannelName = "*";

#if defined(_WIN32)

std::string toUtf8(std::wstring const& text) {
    if (text.empty()) return {};
    int const units = static_cast<int>(text.size());
    int const size = WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), units, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

std::string maskVariable() {
    std::wstring value;
    for (;;) {  // Another thread may make the variable longer between two calls.
        DWORD const room = static_cast<DWORD>(value.size());
        DWORD const size = GetEnvironmentVariableW(L"FOUNDATION_LOG", value.data(), room);
        bool const fits = size < room || size == 0;
        value.resize(size);
        if (fits) return toUtf8(value);
    }
}

#else

std::string maskVariable() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): only a change at the same time is unsafe; that is up to the host
    char const* const value = std::getenv("FOUNDATION_LOG");
    return value == nullptr ? std::string() : std::string(value);
}

#endif

std::optional<unsigned> parseMask(std::string_view text) {
    bool const isHex = text.starts_with("0x") || text.starts_with("0X");
    if (isHex) text.remove_prefix(2);
    unsigned mask = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), mask, isHex ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return mask;
}

void reportUnreadable(std::string_view part) {
    std::string line = "FOUNDATION_LOG: expected channel=mask, the mask decimal or 0x-hexadecimal up to "
                       "4294967295, found \"";
    for (char const c : part) {
        line += static_cast<unsigned char>(c) < 0x20 ? '?' : c;
    }
    line += "\"; skipped\n";
    static_cast<void>(std::fputs(line.c_str(), stderr));  // Nobody could be told of a failure.
}

}  // namespace

Channels& Channels::instance() {
    static Channels& channels = *new Channels;
    return channels;
}

Channels::Channels() : everyChannel_(entry(everyChannelName)) {
    everyChannel_.channel.mask = defaultMask;
    readMasks(maskVariable());
}

detail::Channel const& Channels::find(std::string name) {
    std::lock_guard const lock(mutex_);
    return entry(std::move(name)).channel;
}

unsigned Channels::mask(std::string_view name) const {
    std::lock_guard const lock(mutex_);
    auto const found = entries_.find(name);
    Entry const& entry = found == entries_.end() ? everyChannel_ : found->second;
    return entry.channel.mask.load(std::memory_order_relaxed);
}

void Channels::setMask(std::string_view name, unsigned mask) {
    std::lock_guard const lock(mutex_);
    Entry& changed = entry(std::string(name));
    changed.ownMask = true;
    changed.channel.mask.store(mask, std::memory_order_relaxed);
    if (&changed != &everyChannel_) return;
    for (auto& [other, entry] : entries_) {
        if (!entry.ownMask) entry.channel.mask.store(mask, std::memory_order_relaxed);
    }
}

Channels::Entry& Channels::entry(std::string name) {
    auto const [position, isNew] = entries_.try_emplace(std::move(name));
    Entry& entry = position->second;
    if (isNew) {
        entry.channel.name = position->first;
        bool const isFirst = entries_.size() == 1;  // "*" itself, which the constructor enters
        if (!isFirst) entry.channel.mask = everyChannel_.channel.mask.load(std::memory_order_relaxed);
    }
    return entry;
}

void Channels::readMasks(std::string_view text) {
    while (!text.empty()) {
        std::size_t const comma = text.find(',');
        std::string_view const part = text.substr(0, comma);
        text.remove_prefix(comma == text.npos ? text.size() : comma + 1);

        std::size_t const equals = part.find('=');
        std::string_view const name = part.substr(0, equals);
        std::optional<unsigned> const mask =
            equals == part.npos ? std::nullopt : parseMask(part.substr(equals + 1));
        if (name.empty() || name.front() == ' ' || name.back() == ' ' || !mask) {
            reportUnreadable(part);
        } else {
            setMask(name, *mask);
        }
    }
}

void setChannelMask(std::string_view channel, unsigned mask) {
    Channels::instance().setMask(channel, mask);
}

unsigned channelMask(std::string_view channel) {
    return Channels::instance().mask(channel);
}

}  // namespace foundation::log
