#include "descriptorFile.hpp"

#include <foundation/feature/management.hpp>
#include <foundation/json/Value.hpp>
#include <foundation/json/parse.hpp>

#include <fl/filesystem.hpp>
#include <fl/i18n.hpp>

#include "logging.hpp"
#include "text.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <map>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace demo {
namespace {

namespace json = foundation::json;
namespace management = foundation::feature::management;

using Object = std::map<std::string, json::Value>;
using Array = std::vector<json::Value>;

/// What a file declares: the descriptors, and where they all come from.
struct DescriptorList {
    Array features;
    std::optional<std::string> component;
    std::optional<std::string> module;
    std::optional<std::string> clientdir;
};

std::string readText(std::filesystem::path const& file) {
    // A stream gives no reason; the system's last error does.
    auto const fail = [] {
        throw std::runtime_error("cannot be read: " + std::generic_category().message(errno));
    };
    errno = 0;
    std::ifstream input(file, std::ios::binary);
    if (!input) fail();
    std::string text;
    std::array<char, 65536> block;
    while (input.read(block.data(), block.size()), input.gcount() > 0)
        text.append(block.data(), static_cast<std::size_t>(input.gcount()));
    if (input.bad()) fail();
    return text;
}

std::optional<std::string> readProvenance(Object const& root, std::string const& key) {
    auto const property = root.find(key);
    if (property == root.end()) return std::nullopt;
    if (!property->second.is<std::string>()) throw std::runtime_error("\"" + key + "\" must be a string");
    return property->second.get<std::string>();
}

DescriptorList readList(json::Value const& root) {
    if (root.is<Array>()) return {root.get<Array>(), {}, {}, {}};
    if (!root.is<Object>()) throw std::runtime_error("must hold an array of descriptors, or an object");
    Object const& object = root.get<Object>();
    auto const features = object.find("features");
    if (features == object.end() || !features->second.is<Array>()) {
        throw std::runtime_error("must hold an array of descriptors, or an object with one as \"features\"");
    }
    return {features->second.get<Array>(),
            readProvenance(object, "component"),
            readProvenance(object, "module"),
            readProvenance(object, "clientdir")};
}

/// "descriptor 3", counted from 1, and its name where it has one.
std::string describe(std::size_t index, json::Value const& descriptor) {
    std::string text = "descriptor " + std::to_string(index + 1);
    if (!descriptor.is<Object>()) return text;
    auto const name = descriptor.get<Object>().find("name");
    if (name == descriptor.get<Object>().end() || !name->second.is<std::string>()) return text;
    return text + " (\"" + name->second.get<std::string>() + "\")";
}

void registerList(DescriptorList const& list, fl::filesystem::path const& source) {
    RejectionsReportedByException const rejections;
    for (std::size_t i = 0; i < list.features.size(); ++i) {
        try {
            // registerFeatures takes whole lists; one by one, a failure can be traced to its descriptor.
            management::registerFeatures(
                {list.features[i]}, source, list.component, list.module, list.clientdir);
        } catch (std::exception const& error) {
            throw std::runtime_error(describe(i, list.features[i]) + ": " + error.what());
        }
    }
}

std::string toUtf8(std::filesystem::path const& file) {
    return fl::i18n::to_string(fl::filesystem::path(file).ustring());
}

/// @param displayName  how messages call the file, and the source file of descriptors that name none.
void registerFile(std::filesystem::path const& file, std::string const& displayName) {
    try {
        DescriptorList list = readList(json::parse(readText(file)));
        if (!list.module) list.module = toUtf8(file.stem());
        registerList(list, fl::filesystem::path(displayName));
    } catch (json::ParserException const& error) {
        throw std::runtime_error(displayName + ":" + std::to_string(error.line()) + ":" +
                                 std::to_string(error.column()) + ": " +
                                 json::get_parse_result_description(error.code()));
    } catch (std::exception const& error) {
        throw std::runtime_error(oneLine(displayName + ": " + error.what()));
    }
}

}  // namespace

void registerDescriptorFile(std::string const& file) {
    registerFile(std::filesystem::path(std::u8string(file.begin(), file.end())), file);
}

void registerDescriptorFolder(std::filesystem::path const& folder) {
    std::vector<std::filesystem::path> files;
    for (std::filesystem::directory_entry const& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".json") files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (std::filesystem::path const& file : files)
        registerFile(file, toUtf8(folder.filename()) + "/" + toUtf8(file.filename()));
}

}  // namespace demo
