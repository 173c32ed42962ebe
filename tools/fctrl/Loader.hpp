#pragma once

#include "Document.hpp"
#include "Finding.hpp"
#include "ManifestReader.hpp"

#include <foundation/json/Value.hpp>

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace fctrl {

using Array = std::vector<foundation::json::Value>;
using Object = std::map<std::string, foundation::json::Value>;

/// Descriptors as the library gets them (never null), with where they all come from.
struct DescriptorList {
    Document const* document = nullptr;
    bool isManifest = false;
    std::shared_ptr<foundation::json::Value const> root;  ///< what holds the next one
    Array const* features = nullptr;
    std::vector<std::size_t> entries;  ///< where each of them stands in the document
    std::string file;                  ///< the source file of those that name none
    std::optional<std::string> component;
    std::optional<std::string> module;
    std::optional<std::string> clientdir;
};

/// Reads descriptor files, manifests and bundles, and reports what is wrong in them around the descriptors.
///
/// A descriptor file is what examples/demo_host reads: an array of descriptors, or an object with such an array as
/// "features". One that names no module is a module of its own, called as the file is without its extension.
class Loader {
public:
    /// Both must outlive the loader; documents are added at the end and stay where they are.
    Loader(std::deque<Document>& documents, std::vector<Finding>& findings)
        : documents_(documents), findings_(findings) {}

    /// @return  The lists of a file: one, or one for each manifest of a bundle that has a list.
    /// @throws UnreadableFile
    std::vector<DescriptorList> load(std::string const& file);

private:
    /// Which value, or which member of an object, of a document.
    struct Spot {
        Document const& document;
        std::size_t entry;
    };

    ManifestReader& manifestReader();
    std::optional<foundation::json::Value> parse(Document& document);
    std::vector<DescriptorList> loadDescriptorFile(Document const& document, foundation::json::Value value);
    std::vector<DescriptorList> loadManifestFile(Document const& document, Object const& root);
    std::vector<DescriptorList> loadBundle(std::string const& file, std::string bytes);
    std::optional<DescriptorList> loadManifest(Document const& document,
                                               cppmicroservices::AnyMap const& headers,
                                               std::string const& location);
    void
    readManifestList(DescriptorList& list, std::size_t features, cppmicroservices::AnyMap const& manifest);
    std::optional<std::string>
    readManifestText(Spot parent, cppmicroservices::AnyMap const& map, std::string const& key);
    std::optional<std::string>
    readManifestName(Spot parent, cppmicroservices::AnyMap const& map, std::string const& key);
    std::optional<std::string>
    readProvenance(Document const& document, Object const& root, std::string const& key);
    void warnOfKeys(Spot object, std::vector<std::string> const& known);
    bool warnOfNull(Spot value);
    void add(Rule rule, std::string text, Spot spot);

    std::deque<Document>& documents_;
    std::vector<Finding>& findings_;
    std::unique_ptr<ManifestReader> manifestReader_;
};

/// The member of this name; the first or the last one, if there are several. 0: none.
std::size_t findMember(Document const& document, std::size_t object, std::string_view name, bool isFirst);

/// Reports keys that are not among the known ones, which are ignored, and keys that stand twice.
void findOddKeys(Document const& document,
                 std::size_t object,
                 std::vector<std::string> const& known,
                 bool firstCounts,
                 std::vector<Finding>& findings);

/// How messages show a value: as it stands in the text, cut where it is long.
std::string quotedValue(Document const& document, std::size_t entry);

}  // namespace fctrl
