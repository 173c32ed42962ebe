// fctrl: what people who live with feature controls ask for, on the command line.

#include "Document.hpp"
#include "Progress.hpp"
#include "catalogue.hpp"
#include "check.hpp"
#include "explain.hpp"
#include "list.hpp"
#include "options.hpp"
#include "report.hpp"
#include "terminal.hpp"
#include "text.hpp"

#include <examples/demo_host/platform.hpp>

#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace fctrl {
namespace {

constexpr int fine = 0;
constexpr int withFindings = 1;
constexpr int unusable = 2;

void complain(std::string const& text) {
    std::cerr << "fctrl: " << oneLine(text) << '\n';
}

int runCheck(Options const& options) {
    Progress progress(isErrorTerminal() ? &std::cerr : nullptr);
    CheckResult const result = check(options.files, progress);
    for (std::string const& text : result.unreadable)
        complain(text);
    switch (options.format) {
    case Format::text:
        writeText(std::cout, result, takesColours());
        break;
    case Format::json:
        writeJson(std::cout, result);
        break;
    case Format::sarif:
        writeSarif(std::cout, result);
        break;
    }
    if (!result.unreadable.empty()) return unusable;
    return result.findings.empty() ? fine : withFindings;
}

/// Says on standard error what is wrong; the problems only when `tellsProblems`.
int finish(Catalogue const& catalogue, bool isFound, bool tellsProblems) {
    for (std::string const& text : remarks(catalogue, tellsProblems))
        complain(text);
    if (!catalogue.unreadable.empty()) return unusable;
    return isFound && remarks(catalogue, true).empty() ? fine : withFindings;
}

int runList(Options const& options) {
    Catalogue const catalogue = readCatalogue(options.files, options.root);
    std::vector<Feature> const features = select(catalogue.features, options);
    if (options.format == Format::json) {
        writeListJson(std::cout, features, catalogue);
    } else {
        writeTable(std::cout, features, takesColours());
    }
    return finish(catalogue, true, true);
}

int runExplain(Options const& options) {
    Catalogue const catalogue = readCatalogue(options.files, options.root);
    if (options.format == Format::json) {
        writeExplanationJson(std::cout, options.name, catalogue);
    } else {
        writeExplanation(std::cout, options.name, catalogue, takesColours());
    }
    bool const isFound = catalogue.find(options.name) != nullptr;
    // The explanation why there is no such feature has the problems.
    return finish(catalogue, isFound, isFound || options.format == Format::json);
}

int run(Options const& options) {
    switch (options.command) {
    case Command::nothing:
        std::cout << options.message;
        return fine;
    case Command::check:
        return runCheck(options);
    case Command::list:
        return runList(options);
    case Command::explain:
        return runExplain(options);
    }
    return fine;
}

}  // namespace
}  // namespace fctrl

int main(int argc, char** argv) {
    try {
        std::ios::sync_with_stdio(false);
        fctrl::prepareConsole();
        int const exitCode = fctrl::run(fctrl::parseOptions(demo::commandLine(argc, argv)));
        if (!std::cout.flush()) throw std::runtime_error("standard output cannot be written");
        return exitCode;
    } catch (fctrl::UsageError const& error) {
        fctrl::complain(error.what() + std::string("; see fctrl --help"));
    } catch (std::exception const& error) {
        fctrl::complain(error.what());
    }
    return fctrl::unusable;
}
