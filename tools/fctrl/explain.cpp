#include "explain.hpp"

#include "catalogueJson.hpp"
#include "environment.hpp"
#include "list.hpp"
#include "nearest.hpp"
#include "terminal.hpp"
#include "text.hpp"

#include <algorithm>
#include <ostream>
#include <vector>

namespace fctrl {
namespace {

constexpr std::size_t mostNames = 5;

std::vector<std::string> namesNear(std::string const& name, Catalogue const& catalogue) {
    std::vector<std::string> names;
    for (Feature const& feature : catalogue.features) {
        if (feature.name != name) names.push_back(feature.name);
    }
    return nearest(name, names, mostNames);
}

/// Features whose names differ from `name` in their case only.
std::vector<std::string> otherSpellings(std::string const& name, Catalogue const& catalogue) {
    std::vector<std::string> names;
    for (Feature const& feature : catalogue.features) {
        if (feature.name != name && smallLetters(feature.name) == smallLetters(name))
            names.push_back(feature.name);
    }
    return names;
}

std::string valueText(Feature const& feature) {
    std::string const variable = std::string(variablePrefix) + feature.name;
    std::string text = std::to_string(feature.value);
    switch (feature.source) {
    case Source::defaultValue:
        text += ", the default";
        // It is among the problems why.
        if (feature.variable) text += "; " + variable + " is set but does not count";
        break;
    case Source::environment:
        text += ", from the environment: " + variable + '=' + feature.variable.value_or("");
        break;
    case Source::code:
        text += ", set by the code of an extension";
        break;
    }
    return text;
}

void writeFeatureText(std::ostream& out,
                      Feature const& feature,
                      Catalogue const& catalogue,
                      bool isColoured) {
    auto const line = [&](char const* title, std::string const& text) {
        out << "  " << title << (text.empty() ? "-" : printable(text)) << '\n';
    };
    out << coloured(printable(feature.name), Colour::bold, isColoured) << '\n';
    line("value      ", valueText(feature));
    line("default    ", std::to_string(feature.defaultValue));
    line("state      ", feature.state);
    line("scope      ",
         std::string(scopeText(feature.scope)) + (feature.scope == foundation::feature::Scope::PROCESS
                                                      ? ": one value in the process"
                                                      : ": one value in each engine instance"));
    line("component  ", feature.component);
    line("module     ", feature.module);
    line("client dir ", feature.clientDir);
    line("declared   ", placeText(feature));
    line("registered ",
         feature.origin == Origin::file ? "by a file" : "by an extension of " + catalogue.folder);
    for (std::string const& other : otherSpellings(feature.name, catalogue))
        line("beware     ", "there is a feature \"" + other + "\" as well");
}

void writeMissing(std::ostream& out, std::string const& name, Catalogue const& catalogue, bool isColoured) {
    out << coloured("there is no feature \"" + printable(name) + '"', Colour::bold, isColoured) << '\n';
    std::vector<std::string> const spellings = otherSpellings(name, catalogue);
    for (std::string const& spelling : spellings)
        out << "  it is registered as \"" << printable(spelling) << "\": the case of letters counts\n";
    if (spellings.empty()) {
        for (std::string const& near : namesNear(name, catalogue))
            out << "  close is \"" << printable(near) << "\"\n";
    }
    for (std::string const& file : catalogue.files)
        out << "  searched: the file " << printable(file) << '\n';
    if (catalogue.folder.empty()) {
        out << "  not searched: extensions; --root says where a host has them\n";
    } else {
        out << "  searched: the extensions in " << printable(catalogue.folder) << '\n';
    }
    for (Bundle const& bundle : catalogue.bundles)
        out << "  installed: " << printable(bundle.symbolicName) << ' ' << printable(bundle.version) << ", "
            << printable(bundle.location) << '\n';
    for (std::string const& problem : catalogue.problems)
        out << "  failed: " << oneLine(problem) << '\n';
    out << "  found: " << counted(catalogue.features.size(), "feature") << '\n';
}

}  // namespace

void writeExplanation(std::ostream& out,
                      std::string const& name,
                      Catalogue const& catalogue,
                      bool isColoured) {
    if (Feature const* const feature = catalogue.find(name)) {
        writeFeatureText(out, *feature, catalogue, isColoured);
    } else {
        writeMissing(out, name, catalogue, isColoured);
    }
}

void writeExplanationJson(std::ostream& out, std::string const& name, Catalogue const& catalogue) {
    auto const writeTexts =
        [](JsonWriter& writer, std::string_view key, std::vector<std::string> const& texts) {
            writer.beginArray(key);
            for (std::string const& text : texts)
                writer.text(text);
            writer.endArray();
        };
    {
        JsonWriter writer(out);
        Feature const* const feature = catalogue.find(name);
        writer.beginObject();
        writer.text("name", name);
        writer.truth("found", feature != nullptr);
        writer.beginArray("features");
        if (feature != nullptr) writeFeature(writer, *feature);
        writer.endArray();
        writeTexts(writer, "otherSpellings", otherSpellings(name, catalogue));
        writeTexts(writer, "nearest", namesNear(name, catalogue));
        writeTexts(writer, "files", catalogue.files);
        writer.text("extensions", catalogue.folder);
        writer.beginArray("bundles");
        for (Bundle const& bundle : catalogue.bundles) {
            writer.beginObject();
            writer.text("symbolicName", bundle.symbolicName);
            writer.text("version", bundle.version);
            writer.text("location", bundle.location);
            writer.endObject();
        }
        writer.endArray();
        writeRemarks(writer, catalogue);
        writer.endObject();
    }
    out << '\n';
}

}  // namespace fctrl
