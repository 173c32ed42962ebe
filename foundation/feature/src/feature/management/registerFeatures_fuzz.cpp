// Registers any JSON value as a descriptor list, and compares what is thrown and what the registry holds afterwards with
// a catalogue of the test's own that reads the descriptors by another way.

#include <foundation/feature/management.hpp>
#include <foundation/json/parse.hpp>
#include <foundation/log/diagnostic_logger.hpp>

#include <support/fuzzing.hpp>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

namespace {

namespace management = foundation::feature::management;
using foundation::feature::Scope;
using foundation::json::Null;
using foundation::json::Value;
using foundation::test::require;
using foundation::test::requireEqual;
using Array = std::vector<Value>;
using Object = std::map<std::string, Value>;

/// Up to how many features all of them are counted after each list; with more that would take too long.
constexpr std::size_t mostCounted = 64;

struct Registered {
    Scope scope;
    int defaultValue;
    std::string state;
    std::string file;
    int line;
};

/// What the process has registered so far, by name: the registry never empties.
std::map<std::string, Registered>& catalogue() {
    static std::map<std::string, Registered> registered;
    return registered;
}

/// The exception that a descriptor must end in.
struct Refusal {
    std::type_info const& type;
    std::string text;
};

std::string kindOf(Value const& value) {
    return value.is<Null>() ? "null" : value.is<Array>() ? "array" : "object";
}

[[noreturn]] void refuseKind(std::string const& key, Value const& value, char const* target) {
    throw Refusal{typeid(std::runtime_error),
                  "property value unsupported: \"" + key + "\"\ninvalid conversion: " + kindOf(value) +
                      " to " + target};
}

Value const* find(Object const& descriptor, std::string const& key) {
    auto const member = descriptor.find(key);
    return member == descriptor.end() ? nullptr : &member->second;
}

Value const& demand(Object const& descriptor, std::string const& key) {
    Value const* const value = find(descriptor, key);
    if (value == nullptr) throw Refusal{typeid(std::out_of_range), "property not specified: \"" + key + "\""};
    return *value;
}

std::string toText(std::string const& key, Value const& value) {
    if (value.is<std::string>()) return value.get<std::string>();
    if (value.is<bool>()) return std::string(1, static_cast<char>('0' + (value.get<bool>() ? 1 : 0)));
    char buffer[400] = {};
    if (value.is<double>()) {
        std::snprintf(buffer, sizeof buffer, "%f", value.get<double>());
    } else if (value.is<std::int64_t>()) {
        std::snprintf(buffer, sizeof buffer, "%lld", static_cast<long long>(value.get<std::int64_t>()));
    } else if (value.is<std::uint64_t>()) {
        std::snprintf(
            buffer, sizeof buffer, "%llu", static_cast<unsigned long long>(value.get<std::uint64_t>()));
    } else {
        refuseKind(key, value, "string");
    }
    return buffer;
}

/// The number from -2^31 to below 2^31 that a whole number is, modulo 2^32.
int wrapped(double whole) {
    double rest = std::fmod(whole, 4294967296.0);
    if (rest < -2147483648.0) rest += 4294967296.0;
    if (rest >= 2147483648.0) rest -= 4294967296.0;
    return static_cast<int>(rest);
}

int toInt(std::string const& key, Value const& value) {
    if (value.is<bool>()) return value.get<bool>() ? 1 : 0;
    if (value.is<double>()) {
        double const number = value.get<double>();
        return std::fabs(number) >= 9223372036854775808.0 ? 0 : wrapped(std::trunc(number));
    }
    if (value.is<std::int64_t>()) {
        std::int64_t const number = value.get<std::int64_t>();
        return wrapped(static_cast<double>(number % 4294967296));
    }
    if (value.is<std::uint64_t>())
        return wrapped(static_cast<double>(value.get<std::uint64_t>() % 4294967296));
    if (value.is<std::string>()) {
        long long const number = std::strtoll(value.get<std::string>().c_str(), nullptr, 10);
        return static_cast<int>(std::clamp<long long>(number, INT_MIN, INT_MAX));
    }
    refuseKind(key, value, "int32");
}

std::string readState(Object const& descriptor) {
    Value const* const usual = find(descriptor, "FCtrlState");
    bool const isText = usual != nullptr && !usual->is<Null>() && !usual->is<Array>() && !usual->is<Object>();
    return isText ? toText("FCtrlState", *usual) : toText("FctrlState", demand(descriptor, "FctrlState"));
}

Scope readScope(Object const& descriptor) {
    Value const* const value = find(descriptor, "type");
    std::string text = value == nullptr ? "perZOR" : toText("type", *value);
    std::string const shown = text;
    for (std::string const prefix : {"per", "foundation::feature::Scope::"}) {
        if (!text.starts_with(prefix)) continue;
        text.erase(0, prefix.size());
        break;
    }
    if (text == "ZOR") return Scope::ZOR;
    if (text == "PROCESS") return Scope::PROCESS;
    throw Refusal{typeid(std::logic_error),
                  "illegal value of fctrl type: \"" + shown +
                      "\".  Legal values: \"perZOR\", \"perPROCESS\""};
}

std::string brokenRule(std::string const& name, Registered const& feature) {
    if (name.empty() || name.size() >= 128) {
        return "feature control names must be non-empty and less than 128 characters";
    }
    for (char const character : name) {
        if (character >= 0x20 && character < 0x7F) continue;
        return std::string("feature control names must be printable ascii.  Character: \"") + character +
               "\" is not allowed.";
    }
    std::string const& state = feature.state;
    if (state == "Off" || state == "DebugOrTest") {
        return feature.defaultValue == 0 ? "" : "default value of " + state + " fctrl must be 0";
    }
    if (state == "On") return feature.defaultValue != 0 ? "" : "default value of On fctrl msut be non zero";
    if (state == "Beta" || state == "Preview") return {};
    return R"(feature control state must be one of: "Off", "On", "Beta", "Preview", "DebugOrTest")";
}

/// Enters into the catalogue what one descriptor must register.
/// @throws Refusal  when it must register nothing.
void enter(Value const& value, std::vector<std::string>& names) {
    if (!value.is<Object>()) {
        throw Refusal{typeid(std::runtime_error),
                      std::string("invalid conversion: ") + value.kindName() + " to object"};
    }
    Object const& descriptor = value.get<Object>();
    std::string const name = toText("name", demand(descriptor, "name"));
    names.push_back(name);
    Registered feature;
    feature.state = readState(descriptor);
    feature.scope = readScope(descriptor);
    feature.defaultValue = toInt("defaultValue", demand(descriptor, "defaultValue"));
    Value const* const file = find(descriptor, "file");
    feature.file = file == nullptr ? "list.json" : toText("file", *file);
    Value const* const line = find(descriptor, "line");
    feature.line = line == nullptr ? -1 : toInt("line", *line);
    std::string const rule = brokenRule(name, feature);
    if (!rule.empty()) throw Refusal{typeid(std::invalid_argument), "fctrl: " + name + ": " + rule};
    auto const [holder, isNew] = catalogue().emplace(name, feature);
    if (!isNew && holder->second.scope != feature.scope) {
        throw Refusal{typeid(std::logic_error), "feature not found: " + name};
    }
}

/// Whether the registry holds under this name what the catalogue does.
void compare(std::string const& name) {
    auto const entry = catalogue().find(name);
    auto const feature = management::getFeature(name);
    require((feature != nullptr) == (entry != catalogue().end()));
    if (!feature) return;
    Registered const& right = entry->second;
    require(feature->getName() == name && feature->getScope() == right.scope);
    if (right.scope == Scope::PROCESS) require(feature->get() == right.defaultValue);
    require(feature->getDefaultValue() == right.defaultValue && feature->getLine() == right.line);
    requireEqual(feature->getFCtrlState(), right.state);
    requireEqual(feature->getFilename(), right.file);
    requireEqual(feature->getComponent(), "component");
    requireEqual(feature->getModule(), "module");
    requireEqual(feature->getClientDir(), "");
}

}  // namespace

/// A JSON text: an array is a list, anything else a list of one.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    foundation::log::setChannelMask("*", 0);
    Array list;
    try {
        Value const value = foundation::json::parse({reinterpret_cast<char const*>(data), size});
        list = value.is<Array>() ? value.get<Array>() : Array(1, value);
    } catch (foundation::json::ParserException const&) {
        return 0;  // Another target's business.
    }

    std::optional<Refusal> expected;
    std::vector<std::string> names;
    try {
        for (Value const& descriptor : list)
            enter(descriptor, names);
    } catch (Refusal const& refusal) {
        expected.emplace(refusal);
    }

    bool isRefused = false;
    try {
        management::registerFeatures(list, u"list.json", "component", "module", std::nullopt);
    } catch (std::exception const& error) {
        isRefused = true;
        require(expected && typeid(error) == expected->type);
        // A NUL byte in a name ends the text of the exception.
        requireEqual(error.what(), expected->text.c_str());
    }
    require(isRefused == expected.has_value());
    for (std::string const& name : names)
        compare(name);
    if (catalogue().size() <= mostCounted) require(management::getAllFeatures().size() == catalogue().size());
    return 0;
}
