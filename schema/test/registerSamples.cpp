// What the library says of descriptors and of extension bundles, one line each, for comparison with the schemas:
//
//   registerSamples descriptors FILE   each element of the JSON array by itself: "registered", or "refused: <text>"
//   registerSamples root FOLDER        the names of all features of the bundles below FOLDER; the log's records on
//                                      standard error

#include <foundation/cppmicroservices.hpp>
#include <foundation/feature/management.hpp>
#include <foundation/json/parse.hpp>
#include <foundation/log/diagnostic_logger.hpp>

#include <fl/filesystem.hpp>

#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace json = foundation::json;
namespace management = foundation::feature::management;

void registerEach(std::string const& file) {
    std::ifstream input(file, std::ios::binary);
    std::string const text{std::istreambuf_iterator<char>(input), {}};
    json::Value const root = json::parse(text);
    for (json::Value const& descriptor : root.get<std::vector<json::Value>>()) {
        try {
            management::registerFeatures({descriptor}, "samples.json", "component", "module", "");
            std::cout << "registered\n";
        } catch (std::exception const& error) {
            std::string reason = error.what();
            for (char& character : reason) {
                if (character == '\n') character = ' ';
            }
            std::cout << "refused: " << reason << '\n';
        }
    }
}

void listBundles(std::string const& root) {
    foundation::cppmicroservices::setInstallationRoot(fl::filesystem::path(root));
    auto const framework =
        std::make_shared<cppmicroservices::Framework>(cppmicroservices::FrameworkFactory().NewFramework());
    framework->Start();
    foundation::cppmicroservices::setFramework(framework);
    for (auto const& feature : management::getAllFeatures())
        std::cout << feature->getName() << '\n';
    foundation::cppmicroservices::setFramework(nullptr);
    framework->Stop();
    framework->WaitForStop(std::chrono::milliseconds::zero());
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const arguments(argv + 1, argv + argc);
    // Otherwise the logging core writes to standard output.
    foundation::log::addConsoleSink();
    try {
        if (arguments.size() == 2 && arguments[0] == "descriptors") {
            registerEach(arguments[1]);
        } else if (arguments.size() == 2 && arguments[0] == "root") {
            listBundles(arguments[1]);
        } else {
            std::cerr << "registerSamples: descriptors FILE, or root FOLDER\n";
            return 2;
        }
        return 0;
    } catch (std::exception const& error) {
        std::cerr << "registerSamples: " << error.what() << '\n';
        return 1;
    }
}
