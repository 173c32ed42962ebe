#include "Loader.hpp"

#include "bundleArchive.hpp"
#include "nearest.hpp"
#include "text.hpp"

#include <foundation/feature/convert.hpp>
#include <foundation/json/parse.hpp>

#include <fl/filesystem.hpp>
#include <fl/i18n.hpp>

#include <cppmicroservices/Any.h>

#include <algorithm>
#include <exception>
#include <utility>

namespace fctrl {
namespace {

namespace json = foundation::json;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;

constexpr char const* mustHold =
    R"(must hold an array of descriptors, an object with one as "features", or a bundle's manifest with "qz")";

/// The value under exactly this key, as the library looks for it; null when there is none.
Any const* find(AnyMap const& map, std::string const& key) {
    auto const entry = map.find(key);
    return entry != map.end() && entry->first == key ? &entry->second : nullptr;
}

bool isManifest(Object const& root) {
    return std::any_of(root.begin(), root.end(), [](auto const& member) {
        return smallLetters(member.first) == "qz" || member.first.starts_with("bundle.");
    });
}

/// The path that the library makes of the text in a manifest, as text.
std::string nativePath(std::string const& text) {
    std::u16string wide = fl::i18n::utf8_to_ustring(wellFormed(text));
    if (!wide.empty()) wide = fl::filesystem::detail::make_native_form(std::move(wide), true);
    return fl::i18n::to_string(wide);
}

bool isText(Document const& document, std::size_t entry) {
    return document.text()[document.entries()[entry].value.begin] == '"';
}

}  // namespace

std::size_t findMember(Document const& document, std::size_t object, std::string_view name, bool isFirst) {
    std::size_t found = 0;
    for (std::size_t const child : document.children(object)) {
        if (document.entries()[child].name != name) continue;
        found = child;
        if (isFirst) break;
    }
    return found;
}

void findOddKeys(Document const& document,
                 std::size_t object,
                 std::vector<std::string> const& known,
                 bool firstCounts,
                 std::vector<Finding>& findings) {
    std::vector<std::size_t> const children = document.children(object);
    for (auto child = children.begin(); child != children.end(); ++child) {
        Entry const& entry = document.entries()[*child];
        Where const where{&document, entry.key};
        bool const isKnown = std::find(known.begin(), known.end(), entry.name) != known.end();
        auto const earlier = std::find_if(children.begin(), child, [&](std::size_t other) {
            return document.entries()[other].name == entry.name;
        });
        std::string const name = '"' + std::string(entry.name) + '"';
        if (earlier != child) {
            findings.push_back({Rule::duplicateKey,
                                "key " + name + " stands there twice: the " +
                                    (firstCounts ? "first" : "last") + " one counts",
                                where,
                                {{"the other one is here", {&document, document.entries()[*earlier].key}}}});
        } else if (!isKnown) {
            findings.push_back(
                {Rule::unknownKey,
                 "unknown key " + name + ": it is ignored" + suggestion(nearest(entry.name, known, 1)),
                 where,
                 {}});
        }
    }
}

std::string quotedValue(Document const& document, std::size_t entry) {
    constexpr std::size_t longest = 40;
    Range const value = document.entries()[entry].value;
    std::string_view text = document.text().substr(value.begin, value.end - value.begin);
    if (text.size() <= longest) return std::string(text);
    // Not in the midst of a character.
    std::size_t end = longest;
    while ((static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80)
        --end;
    return std::string(text.substr(0, end)) + "...";
}

void Loader::add(Rule rule, std::string text, Spot spot) {
    Entry const& entry = spot.document.entries()[spot.entry];
    findings_.push_back({rule, std::move(text), {&spot.document, entry.value}, {}});
}

ManifestReader& Loader::manifestReader() {
    if (!manifestReader_) manifestReader_ = std::make_unique<ManifestReader>();
    return *manifestReader_;
}

std::vector<DescriptorList> Loader::load(std::string const& file) {
    std::string bytes = readFile(file);
    if (isBundleName(file)) return loadBundle(file, std::move(bytes));
    Document& document = documents_.emplace_back(file, std::move(bytes));
    std::optional<json::Value> root = parse(document);
    if (!root) return {};
    if (root->is<Object>() && isManifest(root->get<Object>()))
        return loadManifestFile(document, root->get<Object>());
    return loadDescriptorFile(document, *std::move(root));
}

std::optional<json::Value> Loader::parse(Document& document) {
    if (document.hadByteOrderMark()) {
        findings_.push_back({Rule::json, "a byte order mark, which JSON does not have", {&document, {}}, {}});
    }
    try {
        json::Value root = json::parse(document.text());
        document.findEntries();
        return root;
    } catch (json::ParserException const& error) {
        // Where the exception's line begins, and its column is in bytes.
        std::size_t start = 0;
        for (std::size_t line = 1; line < error.line(); ++line)
            start = document.text().find('\n', start) + 1;
        std::size_t const at = start + error.column() - 1;
        findings_.push_back(
            {Rule::json, json::get_parse_result_description(error.code()), {&document, {at, at}}, {}});
        return std::nullopt;
    }
}

void Loader::warnOfKeys(Spot object, std::vector<std::string> const& known) {
    findOddKeys(object.document, object.entry, known, true, findings_);
    for (std::size_t const child : object.document.children(object.entry))
        warnOfNull({object.document, child});
}

bool Loader::warnOfNull(Spot value) {
    bool const isNull = value.document.text()[value.document.entries()[value.entry].value.begin] == 'n';
    if (isNull) add(Rule::droppedValue, "the service framework leaves null out", value);
    return isNull;
}

// Descriptor files

std::optional<std::string>
Loader::readProvenance(Document const& document, Object const& root, std::string const& key) {
    auto const property = root.find(key);
    if (property == root.end()) return std::nullopt;
    if (property->second.is<std::string>()) return property->second.get<std::string>();
    add(Rule::structure, '"' + key + "\" must be a string", {document, findMember(document, 0, key, false)});
    return std::nullopt;
}

std::vector<DescriptorList> Loader::loadDescriptorFile(Document const& document, json::Value value) {
    DescriptorList list;
    list.document = &document;
    list.root = std::make_shared<json::Value const>(std::move(value));
    list.file = document.name();
    std::size_t features = 0;
    if (list.root->is<Array>()) {
        list.features = &list.root->get<Array>();
    } else {
        features = list.root->is<Object>() ? findMember(document, 0, "features", false) : 0;
        bool const hasList = features != 0 && list.root->get<Object>().at("features").is<Array>();
        if (!hasList) {
            add(Rule::structure, mustHold, {document, features});
            return {};
        }
        Object const& object = list.root->get<Object>();
        list.features = &object.at("features").get<Array>();
        findOddKeys(
            document, 0, {"features", "component", "module", "clientdir", "$schema"}, false, findings_);
        list.component = readProvenance(document, object, "component");
        list.module = readProvenance(document, object, "module");
        list.clientdir = readProvenance(document, object, "clientdir");
    }
    list.entries = document.children(features);
    if (!list.module) list.module = wellFormed(toUtf8(toPath(document.name()).stem()));
    return {list};
}

// Manifests

std::vector<DescriptorList> Loader::loadManifestFile(Document const& document, Object const& root) {
    auto const name = root.find("bundle.symbolic_name");
    bool const isNamed =
        name != root.end() && name->second.is<std::string>() &&
        name->second.get<std::string>().find_first_of(std::string("/\0", 2)) == std::string::npos &&
        !name->second.get<std::string>().empty();
    std::string const symbolicName = isNamed ? name->second.get<std::string>() : "bundle";
    std::vector<DescriptorList> lists;
    try {
        AnyMap const headers = manifestReader().readManifest(document.name(), symbolicName, document.text());
        if (auto list = loadManifest(document, headers, document.name())) lists.push_back(*std::move(list));
    } catch (UnreadableFile const&) {
        throw;
    } catch (std::exception const& error) {
        add(Rule::bundle, error.what(), {document, findMember(document, 0, "bundle.symbolic_name", true)});
    }
    return lists;
}

std::vector<DescriptorList> Loader::loadBundle(std::string const& file, std::string bytes) {
    std::map<std::string, AnyMap> headers;
    std::string failure;
    try {
        headers = manifestReader().readBundle(file);
    } catch (std::exception const& error) {
        failure = error.what();
    }
    std::vector<DescriptorList> lists;
    std::size_t const before = findings_.size();
    for (auto& [name, text] :
         readManifests(std::move(bytes)).value_or(std::map<std::string, std::string>())) {
        Document& document = documents_.emplace_back(
            std::string(file).append("!/").append(name).append("/manifest.json"), std::move(text));
        if (!parse(document) || !headers.contains(name)) continue;
        if (auto list = loadManifest(document, headers.at(name), file)) lists.push_back(*std::move(list));
    }
    if (!failure.empty() && findings_.size() == before) {
        Document const& document = documents_.emplace_back(file, "");
        findings_.push_back({Rule::bundle, failure, {&document, {}, true}, {}});
    }
    return lists;
}

std::optional<DescriptorList>
Loader::loadManifest(Document const& document, AnyMap const& headers, std::string const& location) {
    for (std::size_t const child : document.children(0)) {
        Entry const& entry = document.entries()[child];
        if (entry.name == "qz" || smallLetters(entry.name) != "qz") continue;
        findings_.push_back(
            {Rule::unknownKey,
             "unknown key \"" + std::string(entry.name) + "\": it is ignored; did you mean \"qz\"?",
             {&document, entry.key},
             {}});
    }
    readManifestText({document, 0}, headers, "bundle.symbolic_name");
    Spot const spot{document, findMember(document, 0, "qz", true)};
    Any const* const qz = find(headers, "qz");
    if (qz == nullptr) {
        if (spot.entry != 0) warnOfNull(spot);
        return std::nullopt;
    }
    auto const* const manifest = cppmicroservices::any_cast<AnyMap>(qz);
    if (manifest == nullptr) {
        try {
            cppmicroservices::ref_any_cast<AnyMap>(*qz);
        } catch (std::exception const& error) {
            add(Rule::structure, error.what(), spot);
        }
        return std::nullopt;
    }
    warnOfKeys(spot, {"features", "component", "module", "qzbuiltin_module", "clientdir", "fctrl_json"});

    std::size_t const before = findings_.size();
    DescriptorList list;
    list.document = &document;
    list.isManifest = true;
    list.root = std::make_shared<json::Value const>(Array());
    list.features = &list.root->get<Array>();
    list.file = nativePath(readManifestText(spot, *manifest, "fctrl_json").value_or(location));
    list.component = readManifestName(spot, *manifest, "component");
    list.module = readManifestText(spot, *manifest, "qzbuiltin_module");
    list.clientdir = readManifestText(spot, *manifest, "clientdir");
    std::size_t const module = findMember(document, spot.entry, "module", true);
    if (list.module && module != 0) {
        findings_.push_back({Rule::unreadKey,
                             R"("module" is not read, since there is "qzbuiltin_module")",
                             {&document, document.entries()[module].key},
                             {}});
    } else if (!list.module) {
        list.module = readManifestName(spot, *manifest, "module");
    }
    if (find(*manifest, "features") == nullptr) {
        // Without a list the library looks at nothing else.
        for (std::size_t i = before; i < findings_.size(); ++i) {
            if (findings_[i].rule == Rule::structure) findings_[i].rule = Rule::unreadKey;
        }
        return std::nullopt;
    }
    readManifestList(list, findMember(document, spot.entry, "features", true), *manifest);
    return list;
}

void Loader::readManifestList(DescriptorList& list, std::size_t features, AnyMap const& manifest) {
    Document const& document = *list.document;
    try {
        auto const converted =
            std::make_shared<json::Value const>(foundation::feature::convert(*find(manifest, "features")));
        list.features = &converted->get<Array>();
        list.root = converted;
    } catch (std::exception const& error) {
        add(Rule::structure, error.what(), {document, features});
        return;
    }
    for (std::size_t const child : document.children(features)) {
        if (!warnOfNull({document, child})) list.entries.push_back(child);
    }
    list.entries.resize(list.features->size(), features);
}

std::optional<std::string> Loader::readManifestText(Spot parent, AnyMap const& map, std::string const& key) {
    Any const* const value = find(map, key);
    if (value == nullptr) return std::nullopt;
    std::size_t const member = findMember(parent.document, parent.entry, key, true);
    try {
        std::string text = value->ToString();
        if (isText(parent.document, member)) {
            Range const range = parent.document.entries()[member].value;
            json::Value const written =
                json::parse(parent.document.text().substr(range.begin, range.end - range.begin));
            if (written.get<std::string>() != text) {
                add(Rule::droppedValue,
                    "the service framework reads \"" + key + "\" as \"" + text + '"',
                    {parent.document, member});
            }
        } else {
            add(Rule::converted,
                '"' + key + "\" is " + quotedValue(parent.document, member) + ", no text: it is read as \"" +
                    text + '"',
                {parent.document, member});
        }
        return text;
    } catch (std::exception const& error) {
        add(Rule::structure, error.what(), {parent.document, member});
        return std::nullopt;
    }
}

std::optional<std::string> Loader::readManifestName(Spot parent, AnyMap const& map, std::string const& key) {
    Any const* const value = find(map, key);
    if (value == nullptr) return std::nullopt;
    Spot const member{parent.document, findMember(parent.document, parent.entry, key, true)};
    try {
        auto const& named = cppmicroservices::ref_any_cast<AnyMap>(*value);
        warnOfKeys(member, {"name"});
        return readManifestText(member, named, "name");
    } catch (std::exception const& error) {
        add(Rule::structure, error.what(), member);
        return std::nullopt;
    }
}

}  // namespace fctrl
