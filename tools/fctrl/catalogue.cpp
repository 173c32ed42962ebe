#include "catalogue.hpp"

#include "Document.hpp"
#include "Finding.hpp"
#include "Loader.hpp"
#include "LogRecords.hpp"
#include "descriptorFaults.hpp"
#include "environment.hpp"
#include "nearest.hpp"
#include "text.hpp"

#include <foundation/cppmicroservices.hpp>
#include <foundation/feature/management.hpp>

#include <fl/filesystem.hpp>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/BundleVersion.h>

#include <examples/demo_host/RunningFramework.hpp>

#include <algorithm>
#include <deque>
#include <memory>
#include <set>
#include <system_error>
#include <utility>

namespace fctrl {
namespace {

namespace management = foundation::feature::management;
using foundation::feature::IFeature;

std::string placeOf(Where const& where) {
    std::string text = where.document->name() + ':';
    if (where.isWholeFile) return text + ' ';
    Document::Place const place = where.document->place(where.range.begin);
    return text + std::to_string(place.line) + ':' + std::to_string(place.column) + ": ";
}

void registerFile(std::string const& file,
                  Loader& loader,
                  std::vector<Finding>& findings,
                  Catalogue& catalogue) {
    for (DescriptorList const& list : loader.load(file)) {
        bool const isWrong = std::any_of(findings.begin(), findings.end(), [&](Finding const& finding) {
            return finding.where.document == list.document && ruleText(finding.rule).isError;
        });
        if (isWrong) continue;  // A host reads nothing of it.
        if (auto const text = registerDescriptors(list, *list.features)) {
            catalogue.problems.push_back(
                list.document->name() + ": " + *text +
                "; what is listed after it is not registered, `fctrl check` says more");
        }
    }
}

/// What a host would say of the files; warnings are left to `check`.
void registerFiles(std::vector<std::string> const& files, Catalogue& catalogue) {
    std::deque<Document> documents;
    std::vector<Finding> findings;
    Loader loader(documents, findings);
    for (std::string const& file : files) {
        std::size_t const before = findings.size();
        try {
            registerFile(file, loader, findings, catalogue);
        } catch (UnreadableFile const& error) {
            catalogue.unreadable.emplace_back(error.what());
        }
        for (std::size_t i = before; i < findings.size(); ++i) {
            if (ruleText(findings[i].rule).isError) {
                catalogue.problems.push_back(placeOf(findings[i].where) + findings[i].text);
            }
        }
    }
}

std::set<std::string> registeredNames() {
    std::set<std::string> names;
    for (std::unique_ptr<IFeature> const& feature : management::getAllFeatures())
        names.emplace(feature->getName());
    return names;
}

void runExtensions(std::string const& root, Catalogue& catalogue) {
    std::filesystem::path const folder = toPath(root) / "bin" / "win64" / "fctrl_ext";
    catalogue.folder = toUtf8(folder);
    std::error_code ignored;  // What cannot be looked at is no folder.
    if (!std::filesystem::is_directory(folder, ignored)) {
        throw UnreadableFile(catalogue.folder + ": there is no such folder, where the extensions would be");
    }
    foundation::cppmicroservices::setInstallationRoot(fl::filesystem::path(toPath(root)));
    management::getAllFeatures();
    auto const framework = foundation::cppmicroservices::getFramework();
    constexpr long ownId = 0;  // The framework is a bundle as well.
    for (cppmicroservices::Bundle const& bundle : framework->GetBundleContext().GetBundles()) {
        if (bundle.GetBundleId() == ownId || bundle.GetState() != cppmicroservices::Bundle::STATE_ACTIVE)
            continue;
        catalogue.bundles.push_back(
            {bundle.GetSymbolicName(), bundle.GetVersion().ToString(), bundle.GetLocation()});
    }
    std::sort(
        catalogue.bundles.begin(), catalogue.bundles.end(), [](Bundle const& left, Bundle const& right) {
            return std::pair(left.location, left.symbolicName) <
                   std::pair(right.location, right.symbolicName);
        });
}

Source sourceOf(IFeature const& feature, LogRecords const& records) {
    if (feature.getWriteCount() != 0) return Source::code;
    // The library says when it takes a variable's value.
    std::string const start = "feature " + std::string(feature.getName()) + " environment set";
    return records.hasBeginning(start + ", changed from: ") ||
                   records.hasBeginning(start + " to default value: ")
               ? Source::environment
               : Source::defaultValue;
}

Feature describe(IFeature const& feature, std::set<std::string> const& fromFiles, LogRecords const& records) {
    std::string name(feature.getName());
    return {.name = name,
            .scope = feature.getScope(),
            .state = feature.getFCtrlState(),
            .defaultValue = feature.getDefaultValue(),
            .value = feature.get(),
            .source = sourceOf(feature, records),
            .origin = fromFiles.contains(name) ? Origin::file : Origin::extension,
            .component = feature.getComponent(),
            .module = feature.getModule(),
            .clientDir = feature.getClientDir(),
            .file = feature.getFilename(),
            .line = feature.getLine(),
            .variable = {}};
}

void attachVariables(Catalogue& catalogue) {
    std::vector<std::string> names;
    for (Feature const& feature : catalogue.features)
        names.push_back(feature.name);
    for (auto const& [name, value] : featureVariables()) {
        std::string const& variable = name;  // A lambda takes no part of a pair.
        auto const owner =
            std::find_if(catalogue.features.begin(), catalogue.features.end(), [&](auto const& feature) {
                return isVariableOf(variable, feature.name);
            });
        if (owner != catalogue.features.end()) {
            owner->variable = value;
        } else {
            constexpr std::size_t most = 3;
            catalogue.strayVariables.push_back(
                {variable, nearest(variable.substr(variablePrefix.size()), names, most)});
        }
    }
}

}  // namespace

Feature const* Catalogue::find(std::string const& name) const {
    auto const found = std::find_if(
        features.begin(), features.end(), [&](Feature const& feature) { return feature.name == name; });
    return found == features.end() ? nullptr : &*found;
}

Catalogue readCatalogue(std::vector<std::string> const& files, std::string const& root) {
    LogRecords const records;
    Catalogue catalogue;
    catalogue.files = files;
    registerFiles(files, catalogue);
    std::set<std::string> const fromFiles = registeredNames();
    {
        std::optional<demo::RunningFramework> framework;
        if (!root.empty()) {
            framework.emplace();
            runExtensions(root, catalogue);
        }
        for (std::unique_ptr<IFeature> const& feature : management::getAllFeatures())
            catalogue.features.push_back(describe(*feature, fromFiles, records));
    }
    std::sort(catalogue.features.begin(),
              catalogue.features.end(),
              [](Feature const& left, Feature const& right) { return left.name < right.name; });
    for (std::string const& text : records.problems())
        catalogue.problems.push_back(text);
    attachVariables(catalogue);
    return catalogue;
}

char const* scopeText(foundation::feature::Scope scope) {
    return scope == foundation::feature::Scope::PROCESS ? "perPROCESS" : "perZOR";
}

char const* sourceText(Source source) {
    switch (source) {
    case Source::defaultValue:
        return "default";
    case Source::environment:
        return "environment";
    case Source::code:
        break;
    }
    return "code";
}

std::string placeText(Feature const& feature) {
    if (feature.file.empty()) return "-";
    return feature.file + (feature.line >= 0 ? ':' + std::to_string(feature.line) : "");
}

}  // namespace fctrl
