#include "Catalogue.hpp"
#include "bundles.hpp"

#include <foundation/feature/management.hpp>

#include <foundation/cppmicroservices.hpp>

#include <BundleFiles.h>

#include <cppmicroservices/Framework.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>

namespace foundation::feature::inspector::test {
namespace {

/// A process that has these extensions.
class Extensions {
public:
    explicit Extensions(std::map<std::string, std::string> const& manifests) {
        std::filesystem::path const folder = root_.path() / "bin" / "win64" / "fctrl_ext";
        std::filesystem::create_directories(folder);
        for (auto const& [name, more] : manifests)
            bundle_test::writeZip(folder / (name + ".zip"), bundle_test::bundle(name, more));
        foundation::cppmicroservices::setInstallationRoot(root_.path());
        foundation::cppmicroservices::setFramework(
            std::make_shared<::cppmicroservices::Framework>(running_.framework));
    }
    ~Extensions() { foundation::cppmicroservices::setFramework(nullptr); }
    Extensions(Extensions const&) = delete;
    Extensions& operator=(Extensions const&) = delete;

private:
    bundle_test::TemporaryFolder root_;
    bundle_test::RunningFramework running_;
};

constexpr char const* descriptor = R"({"name": "Alpha", "FCtrlState": "Beta", "defaultValue": 3})";

std::map<std::string, std::string> extensionsByFeature() {
    Catalogue catalogue(std::make_shared<InstanceTable>());
    catalogue.list();
    std::map<std::string, std::string> extensions;
    for (Row const& row : catalogue.rows())
        extensions[std::string(row.feature->getName())] = row.extension;
    return extensions;
}

TEST(AnExtensionsFeature, IsKnownByTheManifestThatListsItOrNamesItsModule) {
    std::string const features = std::string(R"("features": [)") + descriptor + "]";
    Extensions const extensions(
        {{"listing", R"("qz": {)" + features + R"(, "component": {"name": "Alpha"}})"},
         {"naming", R"("qz": {"module": {"name": "made"}})"},
         {"builtin", R"("qz": {"qzbuiltin_module": "grown", "module": {"name": "passed over"}})"},
         {"silent", ""}});
    auto const add = [](char const* name, char const* module) {
        management::registerFeature(Scope::PROCESS, name, 0, "Off", "", "", 1, "", module);
    };
    add("OfAModule", "made");
    add("OfABuiltInModule", "grown");
    add("OfTheBundlesName", "silent");
    add("OfTheHost", "host");
    add("OfNoModule", "");
    add("OfAPassedOverModule", "passed over");
    std::map<std::string, std::string> const expected{{"Alpha", "listing"},
                                                      {"OfAModule", "naming"},
                                                      {"OfABuiltInModule", "builtin"},
                                                      {"OfTheBundlesName", "silent"},
                                                      {"OfTheHost", ""},
                                                      {"OfNoModule", ""},
                                                      {"OfAPassedOverModule", ""}};
    EXPECT_EQ(extensionsByFeature(), expected);
}

TEST(AManifestThatIsNotAsItShouldBe, CostsTheOtherExtensionsNothing) {
    Extensions const extensions({{"a", R"("qz": "text")"},
                                 {"b", R"("qz": {"module": "text"})"},
                                 {"c", R"("qz": {"features": {"name": "Beta"}})"},
                                 {"d", std::string(R"("qz": {"features": [)") + descriptor + "]}"},
                                 {"e", R"("qz": {"features": ["text", 1]})"}});
    EXPECT_EQ(extensionsByFeature(), (std::map<std::string, std::string>{{"Alpha", "d"}}));
}

TEST(AProcessWithoutAFramework, HasNoExtensions) {
    management::registerFeature(Scope::PROCESS, "Alpha", 0, "Off", "", "", 1, "", "module");
    EXPECT_EQ(extensionsByFeature(), (std::map<std::string, std::string>{{"Alpha", ""}}));
}

}  // namespace
}  // namespace foundation::feature::inspector::test
