// A host for the tests of the page in a real browser. Prints the page's address, and then does what the lines of its
// standard input say, one answer line each:
//
//   value NAME           the value, the reads and the writes of a process-wide feature
//   set NAME VALUE       sets it
//   read NAME COUNT      reads it that often
//   instance NAME        names a further engine instance
//   end                  takes the last one away
//   engine NAME VALUE    sets a per-instance feature in the last one
//   add NAME             registers another feature
//
//   page_host COUNT (writing | reading)    COUNT: how many features there are besides those with names of their own

#include <foundation/feature/InspectedInstance.hpp>
#include <foundation/feature/Inspector.hpp>
#include <foundation/feature/management.hpp>

#include <foundation/log/diagnostic_logger.hpp>
#include <foundation/usm.hpp>

#include <deque>
#include <exception>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>

namespace {

namespace management = foundation::feature::management;
using foundation::feature::InspectedInstance;
using foundation::feature::Inspector;
using foundation::feature::Scope;
using foundation::usm::EngineInstance;

void add(Scope scope,
         std::string const& name,
         int value,
         char const* state,
         char const* file,
         char const* module) {
    management::registerFeature(scope, name, value, state, "tests", file, 7, "page", module);
}

/// An engine instance, and its place in the page.
struct Engine {
    Engine(Inspector& inspector, std::string const& name) : shown(inspector, name, instance) {}

    EngineInstance instance;
    InspectedInstance shown;
};

std::string answer(std::string const& line, Inspector& inspector, std::deque<Engine>& engines) {
    std::istringstream words(line);
    std::string verb;
    std::string name;
    int number = 0;
    words >> verb >> name >> number;
    if (verb == "value") {
        auto const* const state = management::process::getDataPtr(name);
        std::ostringstream text;
        text << state->value << ' ' << state->readCount << ' ' << state->writeCount;
        return text.str();
    }
    if (verb == "set") {
        management::getFeature(name)->set(number);
    } else if (verb == "read") {
        auto const feature = management::getFeature(name);
        for (int i = 0; i < number; ++i)
            feature->get();
    } else if (verb == "instance") {
        engines.emplace_back(inspector, name);
    } else if (verb == "end") {
        engines.pop_back();
    } else if (verb == "engine") {
        foundation::usm::CurrentEngineInstance const current(engines.back().instance);
        management::getFeature(name)->set(number);
    } else if (verb == "add") {
        add(Scope::PROCESS, name, 0, "Off", "late.cpp", "late");
    } else {
        return "unknown";
    }
    return "done";
}

}  // namespace

int main(int argc, char** argv) {
    try {
        foundation::log::addConsoleSink();  // standard output is for answers
        int const count = std::stoi(argc > 1 ? argv[1] : "0");
        bool const isWritable = argc > 2 && argv[2] == std::string("writing");
        add(Scope::PROCESS, "Alpha", 0, "Off", "alpha.cpp", "first");
        add(Scope::PROCESS, "Beta", 3, "Beta", "beta.cpp", "first");
        add(Scope::ZOR, "Gamma", 1, "On", "gamma.cpp", "second");
        add(Scope::PROCESS, "Overridden", 1, "Preview", "beta.cpp", "second");
        add(Scope::PROCESS,
            "<img src=x onerror=alert(1)>",
            0,
            "Off",
            "<script>alert(1)</script>",
            "=cmd|'/c calc'!A0");
        for (int i = 0; i < count; ++i)
            add(i % 2 == 0 ? Scope::PROCESS : Scope::ZOR,
                "Many" + std::to_string(10000 + i),
                i,
                "Beta",
                "many.cpp",
                "many");

        Inspector inspector({.allowWriting = isWritable});
        std::deque<Engine> engines;
        std::cout << inspector.url() << std::endl;
        for (std::string line; std::getline(std::cin, line);)
            std::cout << answer(line, inspector, engines) << std::endl;
        return 0;
    } catch (std::exception const& error) {
        std::cerr << "page_host: " << error.what() << '\n';
        return 1;
    }
}
