#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <foundation/json/Value.hpp>

#include <fl/filesystem.hpp>

#include <foundation/feature/Export.hpp>
#include <foundation/feature/IFeature.hpp>
#include <foundation/feature/Scope.hpp>

namespace foundation::feature::management {

/// Registers one feature for the life of the process.
///
/// The environment variable "QZ_FEATURE_" + `featureName`, a whole decimal number, replaces the initial
/// value; a text that is none is logged (channel "foundation::feature::registration", severity 512) and
/// ignored. A name that the same module has registered before with the same scope is left as it stands.
///
/// @param scope          any value but the two named ones is validated and logged, and then registers
/// nothing.
/// @param featureName    1 to 127 bytes of printable ASCII, blanks included.
/// @param defaultValue   the default, also the initial value: 0 for "Off" and "DebugOrTest", not 0 for "On".
/// @param wip            the feature-control state: "Off", "On", "Beta", "Preview" or "DebugOrTest".
/// @param clientdir      the client directory of the declaring code.
/// @param filename       the file that declares the feature.
/// @param line           the line in that file.
/// @param componentName  the component of the declaring code.
/// @param moduleName     the module of the declaring code; tells a repeated registration from a conflicting
/// one.
/// @throws   std::invalid_argument  "fctrl: <name>: <rule>" when a rule is broken.
/// @throws   std::logic_error       "feature registered twice: <name>: modules: <first> and <second>" when
///                                  another module holds the name.
/// @throws   std::logic_error       "feature not found: <name>" when this module holds the name with the
/// other scope.
/// @throws   std::range_error       the environment variable is not well-formed text; or whatever else reading it throws.
/// Whatever is thrown, nothing has been registered, and the same call may succeed later.
/// @threads  Any, at any time.
FOUNDATION_FEATURE_EXPORT void registerFeature(Scope scope,
                                               std::string featureName,
                                               int defaultValue,
                                               std::string wip,
                                               std::string clientdir,
                                               std::string filename,
                                               int line,
                                               std::string componentName,
                                               std::string moduleName);

/// Registers the features of a descriptor list, in order, each by `registerFeature`.
///
/// @param features   one JSON object each: "name", "FCtrlState" (or "FctrlState") and "defaultValue" are
///                   required, "type" (default "perZOR"), "file" and "line" are not; other keys are ignored.
/// @param file       what a descriptor without "file" gets as its file.
/// @param component  the component of them all; absent: the empty text. `module` and `clientdir` likewise.
/// @throws   std::out_of_range   "property not specified: "<key>"".
/// @throws   std::runtime_error  "property value unsupported: "<key>"", a line feed and the reason; or
///                               "invalid conversion: <kind> to object" for an element that is no object.
/// @throws   std::logic_error    "illegal value of fctrl type: "<text>".  Legal values: "perZOR",
/// "perPROCESS"".
/// @throws   what `registerFeature` throws.
/// The first bad descriptor ends the call; those before it stay registered.
/// @threads  Any, at any time.
FOUNDATION_FEATURE_EXPORT void registerFeatures(std::vector<json::Value> const& features,
                                                fl::filesystem::path const& file,
                                                std::optional<std::string> const& component,
                                                std::optional<std::string> const& module,
                                                std::optional<std::string> const& clientdir);

/// Finds the feature of exactly this name, asking the extension bundles when nobody has registered it.
///
/// @return   empty when there is no such feature.
/// @threads  Any, at any time.
/// @cost     Tens of nanoseconds, unless the name is unknown: the first miss installs the extension bundles
///           (seconds, once), later ones ask their registration services again.
FOUNDATION_FEATURE_EXPORT std::unique_ptr<IFeature> getFeature(std::string const& name);

/// As `getFeature`, and when no feature has exactly this name, finds the one whose name in lower case is
/// `name`.
///
/// `name` itself is not folded: only a query that is all lower case finds a feature by another spelling. Of
/// features whose names differ in case only, the one registered first is found.
FOUNDATION_FEATURE_EXPORT std::unique_ptr<IFeature> getFeatureIgnoreCase(std::string const& name);

/// A handle for every feature, those of the extension bundles included: first the per-instance ones, then the
/// process-wide ones, each group in no particular order.
///
/// @threads  Any, at any time.
/// @cost     Asks every registration service of every extension bundle.
FOUNDATION_FEATURE_EXPORT std::vector<std::unique_ptr<IFeature>> getAllFeatures();

namespace process {

/// The record of a process-wide feature, asking the extension bundles when nobody has registered it.
///
/// @return   never null; valid as long as the process.
/// @throws   std::out_of_range  "feature "<name>" is per zor, not per process" or "unregistered feature:
/// <name>".
/// @threads  Any, at any time.
FOUNDATION_FEATURE_EXPORT detail::State* getDataPtr(std::string const& name);

}  // namespace process

namespace zor {

/// The index of a per-instance feature, asking the extension bundles when nobody has registered it.
///
/// @return   0 for the first per-instance feature of the process, then 1, and so on.
/// @throws   std::out_of_range  "feature "<name>" is per process, not per zor" or "unregistered feature:
/// <name>".
/// @threads  Any, at any time.
FOUNDATION_FEATURE_EXPORT std::size_t getDataIndex(std::string const& name);

/// The record that the engine instance which is current on this thread keeps for a per-instance feature. The
/// instance's records are made on its first call, and for features registered later when they are first asked
/// for.
///
/// @return   never null; valid as long as the engine instance.
/// @throws   std::out_of_range  "zor feature #<index> is out of bounds."
/// @threads  Any, at any time; takes no lock unless records have to be made.
FOUNDATION_FEATURE_EXPORT detail::State* getDataPtr(std::size_t index);

}  // namespace zor
}  // namespace foundation::feature::management
