#include "check.hpp"

#include "Loader.hpp"
#include "descriptorFaults.hpp"
#include "environment.hpp"
#include "text.hpp"

#include <foundation/json/parse.hpp>

#include <boost/log/core/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <unordered_map>
#include <utility>

namespace fctrl {
namespace {

namespace json = foundation::json;

std::vector<std::string> const& knownKeys() {
    static std::vector<std::string> const keys = {
        "name", "FCtrlState", "FctrlState", "type", "defaultValue", "file", "line"};
    return keys;
}

bool isUnreadable(json::Value const& value) {
    return !(value.is<std::string>() || value.is<bool>() || value.is<double>() || value.is<std::int64_t>() ||
             value.is<std::uint64_t>());
}

/// Whether reading `value` as a 32-bit integer gives the number that it is.
bool isInt32(json::Value const& value) {
    if (value.is<std::int64_t>()) {
        auto const number = value.get<std::int64_t>();
        return number == static_cast<std::int32_t>(number);
    }
    if (!value.is<double>()) return false;
    double const number = value.get<double>();
    return number >= std::numeric_limits<std::int32_t>::min() &&
           number <= std::numeric_limits<std::int32_t>::max() && number == std::trunc(number);
}

/// Looks at descriptors one by one; knows those that were registered before.
class Checker {
public:
    explicit Checker(std::vector<Finding>& findings) : findings_(findings) {}

    void check(DescriptorList const& list, std::size_t index);

    /// There will be `count` more.
    void expect(std::size_t count) {
        registered_.reserve(registered_.size() + count);
        spelled_.reserve(spelled_.size() + count);
    }

private:
    /// The descriptor that is being looked at.
    struct Subject {
        DescriptorList const& list;
        Object const& properties;
        std::size_t entry;
    };

    Where member(Subject const& subject, std::string_view key) const;
    std::size_t findMember(Subject const& subject, std::string_view key) const;
    void add(Rule rule, std::string text, Where where, std::vector<Note> notes = {});
    void warnOfStateKeys(Subject const& subject);
    void warnOfConversions(Subject const& subject);
    void warnOfDroppedValues(Subject const& subject);
    void reportRefusal(Subject const& subject, std::string const& text);
    void enter(Subject const& subject);

    std::vector<Finding>& findings_;
    std::unordered_map<std::string, Where>
        registered_;  // by name; also those that only mending lets register
    std::unordered_map<std::string, std::string> spelled_;  // the first name that has these small letters
};

void Checker::add(Rule rule, std::string text, Where where, std::vector<Note> notes) {
    findings_.push_back({rule, std::move(text), where, std::move(notes)});
}

std::size_t Checker::findMember(Subject const& subject, std::string_view key) const {
    return fctrl::findMember(*subject.list.document, subject.entry, key, subject.list.isManifest);
}

/// The member's value, or the beginning of the descriptor that lacks it.
Where Checker::member(Subject const& subject, std::string_view key) const {
    std::vector<Entry> const& entries = subject.list.document->entries();
    std::size_t const found = findMember(subject, key);
    if (found != 0) return {subject.list.document, entries[found].value};
    std::size_t const begin = entries[subject.entry].value.begin;
    return {subject.list.document, {begin, begin + 1}};
}

void Checker::warnOfStateKeys(Subject const& subject) {
    auto const usual = subject.properties.find("FCtrlState");
    if (usual == subject.properties.end() || !subject.properties.contains("FctrlState")) return;
    bool const isUsualRead = !isUnreadable(usual->second);
    Entry const& ignored =
        subject.list.document->entries()[findMember(subject, isUsualRead ? "FctrlState" : "FCtrlState")];
    add(Rule::bothStateKeys,
        std::string("both \"FCtrlState\" and \"FctrlState\" are there: \"") +
            (isUsualRead ? "FCtrlState" : "FctrlState") + "\" counts",
        {subject.list.document, ignored.key});
}

void Checker::warnOfConversions(Subject const& subject) {
    auto const warn =
        [&](std::string const& key, std::string const& kind, std::optional<std::string> const& read) {
            if (!read) return;  // It is refused, and that is reported.
            std::size_t const found = findMember(subject, key);
            if (found == 0) return;
            add(Rule::converted,
                '"' + key + "\" is " + quotedValue(*subject.list.document, found) + ", no " + kind +
                    ": it is read as " + *read,
                {subject.list.document, subject.list.document->entries()[found].value});
        };
    for (auto const& [key, value] : subject.properties) {
        if (key == "name" && !value.is<std::string>()) {
            std::optional<std::string> const read = nameAsRead(subject.properties);
            warn(key, "text", read ? std::optional('"' + *read + '"') : std::nullopt);
        } else if (key == "file" && !value.is<std::string>()) {
            warn(key, "text", valueAsRead(subject.properties, key));
        } else if ((key == "defaultValue" || key == "line") && !isInt32(value)) {
            warn(key, "32-bit integer", valueAsRead(subject.properties, key));
        }
    }
    auto const line = subject.properties.find("line");
    bool const isNumber =
        line != subject.properties.end() && line->second.is<std::int64_t>() && isInt32(line->second);
    if (isNumber && line->second.get<std::int64_t>() < -1) {
        add(Rule::lineNumber,
            "\"line\" is " + std::to_string(line->second.get<std::int64_t>()) +
                ": lines are counted from 1, and -1 says that it is not known",
            member(subject, "line"));
    }
}

/// The service framework has ideas of its own about the values in a manifest.
void Checker::warnOfDroppedValues(Subject const& subject) {
    Range const range = subject.list.document->entries()[subject.entry].value;
    json::Value const root =
        json::parse(subject.list.document->text().substr(range.begin, range.end - range.begin));
    Object const& written = root.get<Object>();
    for (std::size_t const child : subject.list.document->children(subject.entry)) {
        Entry const& entry = subject.list.document->entries()[child];
        std::string const name(entry.name);
        auto const read = subject.properties.find(name);
        auto const original = written.find(name);
        bool const isKnown = std::find(knownKeys().begin(), knownKeys().end(), name) != knownKeys().end();
        if (!isKnown || findMember(subject, name) != child) continue;
        if (read == subject.properties.end()) {
            add(Rule::droppedValue,
                "the service framework leaves \"" + name + "\" out: " +
                    (original->second.is<json::Null>() ? "it is null"
                                                       : "a key before it differs in its case only"),
                {subject.list.document, entry.value});
        } else if (read->second.is<std::string>() && original->second.is<std::string>() &&
                   read->second.get<std::string>() != original->second.get<std::string>()) {
            add(Rule::droppedValue,
                "the service framework reads \"" + name + "\" as \"" + read->second.get<std::string>() + '"',
                {subject.list.document, entry.value});
        }
    }
}

void Checker::reportRefusal(Subject const& subject, std::string const& text) {
    auto const name = subject.properties.find("name");
    std::string const shown = name != subject.properties.end() && name->second.is<std::string>()
                                  ? name->second.get<std::string>()
                                  : nameAsRead(subject.properties).value_or("");
    bool isComparable = true;
    std::vector<Fault> faults = findFaults(subject.properties, shown);
    for (Fault& fault : faults) {
        isComparable = isComparable && fault.key != "name" && fault.key != "type";
        bool const isOther = fault.key == "FCtrlState" && findMember(subject, "FCtrlState") == 0;
        add(Rule::refused, std::move(fault.text), member(subject, isOther ? "FctrlState" : fault.key));
    }
    if (!isComparable) return;
    // With the faults mended, what else the library would say.
    Object mended{{"name", shown}, {"FCtrlState", "Beta"}, {"defaultValue", 0}};
    if (auto const type = subject.properties.find("type"); type != subject.properties.end()) {
        mended.insert(*type);
    }
    auto const conflict = registerDescriptors(subject.list, Array(1, mended));
    if (!conflict) {
        enter(subject);
        if (faults.empty()) add(Rule::refused, text, member(subject, "name"));
        return;
    }
    std::vector<Note> notes;
    if (auto const first = registered_.find(shown); first != registered_.end()) {
        notes.push_back({"listed here first", first->second});
    }
    add(Rule::conflict, *conflict, member(subject, "name"), notes);
}

/// Takes down that a descriptor has been registered, as it is or mended, or was there before.
void Checker::enter(Subject const& subject) {
    json::Value const& given = subject.properties.at("name");
    std::string const name =
        given.is<std::string>() ? given.get<std::string>() : nameAsRead(subject.properties).value_or("");
    Where const where = member(subject, "name");
    auto const [first, isNew] = registered_.emplace(name, where);
    if (!isNew) {
        add(Rule::duplicate,
            '"' + name + "\" is registered already: this one changes nothing",
            where,
            {{"listed here first", first->second}});
        return;
    }
    auto const [similar, isOnlyOne] = spelled_.emplace(smallLetters(name), name);
    if (isOnlyOne) return;
    add(Rule::nameCase,
        '"' + name + "\" differs from \"" + similar->second + "\" only in its case",
        where,
        {{"listed here first", registered_.at(similar->second)}});
}

void Checker::check(DescriptorList const& list, std::size_t index) {
    json::Value const& descriptor = (*list.features)[index];
    std::size_t const entry = list.entries[index];
    std::optional<std::string> const refusal = registerDescriptors(list, Array(1, descriptor));
    if (!descriptor.is<Object>()) {
        add(Rule::refused, refusal.value_or(""), {list.document, list.document->entries()[entry].value});
        return;
    }
    Subject const subject{list, descriptor.get<Object>(), entry};
    findOddKeys(*list.document, entry, knownKeys(), list.isManifest, findings_);
    warnOfStateKeys(subject);
    warnOfConversions(subject);
    if (list.isManifest) warnOfDroppedValues(subject);
    if (refusal) {
        reportRefusal(subject, *refusal);
    } else {
        enter(subject);
    }
}

}  // namespace

CheckResult check(std::vector<std::string> const& files, Progress& progress) {
    boost::log::core::get()->set_logging_enabled(false);  // What the library has to say it throws as well.
    removeFeatureVariables();
    CheckResult result;
    Loader loader(result.documents, result.findings);
    Checker checker(result.findings);
    for (std::string const& file : files) {
        std::size_t const before = result.findings.size();
        try {
            ++result.files;
            for (DescriptorList const& list : loader.load(file)) {
                progress.expect(list.features->size());
                checker.expect(list.features->size());
                for (std::size_t i = 0; i < list.features->size(); ++i) {
                    checker.check(list, i);
                    progress.advance();
                }
                result.descriptors += list.features->size();
            }
        } catch (UnreadableFile const& error) {
            result.unreadable.emplace_back(error.what());
        }
        auto const mine = result.findings.begin() + static_cast<std::ptrdiff_t>(before);
        std::stable_sort(mine, result.findings.end(), [](Finding const& left, Finding const& right) {
            return std::pair(left.where.document->name(), left.where.range.begin) <
                   std::pair(right.where.document->name(), right.where.range.begin);
        });
    }
    progress.finish();
    return result;
}

}  // namespace fctrl
