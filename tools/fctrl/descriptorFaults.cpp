#include "descriptorFaults.hpp"

#include "text.hpp"

#include <foundation/feature/management.hpp>

#include <fl/filesystem.hpp>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <memory>

namespace fctrl {
namespace {

namespace json = foundation::json;
namespace management = foundation::feature::management;

constexpr std::string_view messageStart = "fctrl: ";

/// A name that nobody else has registered: the registry forgets none.
std::string freshName() {
    static std::size_t count = 0;
    return "~fctrl~ " + std::to_string(++count);
}

std::optional<std::string> failureOf(Array const& descriptors,
                                     std::string const& file = {},
                                     std::optional<std::string> const& component = {},
                                     std::optional<std::string> const& module = {},
                                     std::optional<std::string> const& clientdir = {}) {
    try {
        management::registerFeatures(
            descriptors, fl::filesystem::path(wellFormed(file)), component, module, clientdir);
        return std::nullopt;
    } catch (std::exception const& error) {
        return error.what();
    }
}

/// The rule that no state "" is allowed, which the library looks at after it has read all properties and the name.
std::string const& stateRule() {
    static std::string const rule = [] {
        std::string const name = freshName();
        Object const descriptor{{"name", name}, {"FCtrlState", ""}, {"defaultValue", 0}};
        return failureOf({descriptor}).value_or("").substr(messageStart.size() + name.size());
    }();
    return rule;
}

/// What is wrong with this property of `descriptor` in one whose others are right, but for the state: so it is never
/// registered.
std::optional<std::string> faultOf(Object const& descriptor, std::string const& key) {
    Object probe{{"name", freshName()}, {"FCtrlState", ""}, {"defaultValue", 0}};
    auto const property = descriptor.find(key);
    if (property != descriptor.end()) {
        probe.insert_or_assign(key, property->second);
    } else {
        probe.erase(key);
    }
    std::optional<std::string> text = failureOf({probe});
    if (text && text->starts_with(messageStart) && text->ends_with(stateRule())) return std::nullopt;
    return text;
}

/// What is wrong with the state, and the default if there is one, of `descriptor`.
std::optional<std::string>
faultOfState(Object const& descriptor, std::string const& name, json::Value const& defaultValue) {
    std::string const probeName = freshName();
    Object probe{{"name", probeName}, {"defaultValue", defaultValue}};
    for (char const* key : {"FCtrlState", "FctrlState"}) {
        if (auto const property = descriptor.find(key); property != descriptor.end()) probe.insert(*property);
    }
    std::optional<std::string> text = failureOf({probe});
    if (text && text->starts_with(std::string(messageStart) + probeName)) {
        text->replace(messageStart.size(), probeName.size(), name);
    }
    return text;
}

/// What is wrong with the name. The text that an exception gives would end at a NUL in the name, before the reason.
std::optional<std::string> faultOfName(Object const& descriptor) {
    auto const name = descriptor.find("name");
    bool const hasNul = name != descriptor.end() && name->second.is<std::string>() &&
                        name->second.get<std::string>().find('\0') != std::string::npos;
    if (!hasNul) return faultOf(descriptor, "name");
    constexpr char standIn = '\x01';  // as forbidden as the NUL
    std::string text = name->second.get<std::string>();
    std::replace(text.begin(), text.end(), '\0', standIn);
    std::optional<std::string> fault = faultOf({{"name", text}}, "name");
    if (fault) std::replace(fault->begin(), fault->end(), standIn, '\0');
    return fault;
}

}  // namespace

std::optional<std::string> registerDescriptors(DescriptorList const& list, Array const& descriptors) {
    return failureOf(descriptors, list.file, list.component, list.module, list.clientdir);
}

std::vector<Fault> findFaults(Object const& descriptor, std::string const& name) {
    std::vector<Fault> faults;
    auto const add = [&](std::string_view key, std::optional<std::string> text) {
        bool const isWrong = text.has_value();
        if (isWrong) faults.push_back({key, *std::move(text)});
        return isWrong;
    };
    add("name", faultOfName(descriptor));
    // Each state takes the one or the other default.
    std::optional<std::string> stateFault = faultOfState(descriptor, name, 0);
    if (stateFault && !faultOfState(descriptor, name, 1)) stateFault.reset();
    bool const isStateWrong = add("FCtrlState", stateFault);
    add("type", faultOf(descriptor, "type"));
    bool const isDefaultWrong = add("defaultValue", faultOf(descriptor, "defaultValue"));
    if (!isStateWrong && !isDefaultWrong) {
        add("defaultValue", faultOfState(descriptor, name, descriptor.at("defaultValue")));
    }
    add("file", faultOf(descriptor, "file"));
    add("line", faultOf(descriptor, "line"));
    return faults;
}

std::optional<std::string> nameAsRead(Object const& descriptor) {
    auto const name = descriptor.find("name");
    if (name == descriptor.end()) return std::nullopt;
    Object const probe{{"name", name->second}, {"FCtrlState", ""}, {"defaultValue", 0}};
    std::optional<std::string> const text = failureOf({probe});
    if (!text || !text->starts_with(messageStart) || !text->ends_with(stateRule())) return std::nullopt;
    return text->substr(messageStart.size(), text->size() - messageStart.size() - stateRule().size());
}

std::optional<std::string> valueAsRead(Object const& descriptor, std::string const& key) {
    std::string const name = freshName();
    Object probe{{"name", name}, {"FCtrlState", "Beta"}, {"defaultValue", 0}};
    probe.insert_or_assign(key, descriptor.at(key));
    if (failureOf({probe})) return std::nullopt;
    auto const feature = management::getFeature(name);
    if (key == "defaultValue") return std::to_string(feature->getDefaultValue());
    if (key == "line") return std::to_string(feature->getLine());
    return '"' + feature->getFilename() + '"';
}

}  // namespace fctrl
