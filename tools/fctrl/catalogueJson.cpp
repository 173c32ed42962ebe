#include "catalogueJson.hpp"

namespace fctrl {

void writeFeature(JsonWriter& writer, Feature const& feature) {
    writer.beginObject();
    writer.text("name", feature.name);
    writer.text("scope", scopeText(feature.scope));
    writer.text("state", feature.state);
    writer.number("default", feature.defaultValue);
    writer.number("value", feature.value);
    writer.truth("changed", feature.isChanged());
    writer.text("source", sourceText(feature.source));
    if (feature.variable) writer.text("variable", *feature.variable);
    writer.text("registeredBy", feature.origin == Origin::file ? "file" : "extension");
    writer.text("component", feature.component);
    writer.text("module", feature.module);
    writer.text("clientDir", feature.clientDir);
    writer.text("file", feature.file);
    writer.number("line", feature.line);
    writer.endObject();
}

void writeRemarks(JsonWriter& writer, Catalogue const& catalogue) {
    writer.beginArray("unreadable");
    for (std::string const& text : catalogue.unreadable)
        writer.text(text);
    writer.endArray();
    writer.beginArray("problems");
    for (std::string const& text : catalogue.problems)
        writer.text(text);
    writer.endArray();
    writer.beginArray("strayVariables");
    for (StrayVariable const& variable : catalogue.strayVariables) {
        writer.beginObject();
        writer.text("name", variable.name);
        writer.beginArray("nearest");
        for (std::string const& name : variable.nearest)
            writer.text(name);
        writer.endArray();
        writer.endObject();
    }
    writer.endArray();
}

}  // namespace fctrl
