#pragma once

#include <foundation/feature/Scope.hpp>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace fctrl {

/// Where a feature's value came from.
enum class Source { defaultValue, environment, code };

/// Where a feature was registered.
enum class Origin { file, extension };

/// What the catalogue says of one feature.
struct Feature {
    std::string name;
    foundation::feature::Scope scope;
    std::string state;
    int defaultValue;
    int value;  ///< of a per-instance feature, in the process's main instance
    Source source;
    Origin origin;
    std::string component;
    std::string module;
    std::string clientDir;
    std::string file;
    int line;                             ///< -1: not known
    std::optional<std::string> variable;  ///< what the environment says, whether it counts or not

    bool isChanged() const { return value != defaultValue; }
};

/// An extension bundle that was installed.
struct Bundle {
    std::string symbolicName;
    std::string version;
    std::string location;
};

/// A variable that names no feature.
struct StrayVariable {
    std::string name;
    std::vector<std::string> nearest;  ///< names of features
};

/// What a host has.
struct Catalogue {
    std::vector<Feature> features;  ///< in the order of their names
    std::vector<std::string> files;
    std::string folder;  ///< of the extensions; empty: none was asked for
    std::vector<Bundle> bundles;
    std::vector<std::string> problems;  ///< what the library, and the service framework, logged and refused
    std::vector<StrayVariable> strayVariables;
    std::vector<std::string> unreadable;

    Feature const* find(std::string const& name) const;
};

/// The features of a host that registers those of all files, in their order, and then runs the extensions below `root`.
///
/// Of a list that the library refuses, the features before the bad one are there, as in a host.
///
/// @param root  empty: no extensions.
/// @throws UnreadableFile  there is no folder for extensions below `root`.
Catalogue readCatalogue(std::vector<std::string> const& files, std::string const& root);

/// "perZOR" or "perPROCESS".
char const* scopeText(foundation::feature::Scope scope);

/// "default", "environment" or "code".
char const* sourceText(Source source);

/// "<file>:<line>", or "-" when neither is known.
std::string placeText(Feature const& feature);

}  // namespace fctrl
