// For tests that run the program as a user does and look at its exit code and both outputs.
#pragma once

#include <foundation/json/Value.hpp>
#include <foundation/json/parse.hpp>

#include "TemporaryFolder.hpp"

#include <boost/process/args.hpp>
#include <boost/process/env.hpp>
#include <boost/process/environment.hpp>
#include <boost/process/exe.hpp>
#include <boost/process/io.hpp>
#include <boost/process/start_dir.hpp>
#include <boost/process/system.hpp>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace demo::test {

namespace json = foundation::json;
using Array = std::vector<json::Value>;
using Object = std::map<std::string, json::Value>;
using Arguments = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

inline std::filesystem::path const program = DEMO_HOST_PROGRAM;

inline std::string readFile(std::filesystem::path const& file) {
    std::ifstream input(file);
    return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
}

/// A path as the program's platform spells it.
inline std::string native(std::string const& path) {
    return std::filesystem::path(path).make_preferred().string();
}

inline std::vector<std::string> linesOf(std::string const& text) {
    std::vector<std::string> lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);)
        lines.push_back(line);
    return lines;
}

struct Outcome {
    int exitCode;
    std::string output;
    std::string errors;
};

/// Runs the program to its end, in a folder of its own, so that nothing depends on the folder it is started
/// in.
inline Outcome
run(Arguments const& arguments, Environment const& variables = {}, std::filesystem::path const& output = {}) {
    namespace process = boost::process;
    TemporaryFolder const folder;
    process::environment environment = boost::this_process::environment();
    environment.erase("FOUNDATION_LOG");
    environment.erase("FOUNDATION_ROOT");
    for (auto const& [name, value] : variables)
        environment[name] = value;

    auto const outputFile = (output.empty() ? folder.path / "output" : output).string();
    auto const errorFile = (folder.path / "errors").string();
    int const exitCode = process::system(process::exe = program.string(),
                                         process::args = arguments,
                                         process::start_dir = folder.path.string(),
                                         environment,
                                         (process::std_in < process::null),
                                         (process::std_out > outputFile),
                                         (process::std_err > errorFile));
    return {exitCode, output.empty() ? readFile(outputFile) : "", readFile(errorFile)};
}

/// The notice that each run prints when its extensions are installed.
inline std::string const extensionsNotice =
    "demo_host [512] the lookup of TranslatorCurveFitting made the library install 5 extensions";

/// What a run printed on standard error, less that notice and the records about the extension that is broken on
/// purpose.
inline std::vector<std::string> errorsBesidesExtensions(Outcome const& outcome) {
    std::vector<std::string> lines = linesOf(outcome.errors);
    std::erase_if(lines, [](std::string const& line) {
        bool const isBroken = line.find("Unable to get fctrl list from ") != line.npos &&
                              line.find("demo_broken.zip") != line.npos;
        return isBroken || line == extensionsNotice;
    });
    return lines;
}

/// The rows that a run prints as JSON, by name.
inline std::map<std::string, Object> rowsOf(Arguments arguments, Environment const& variables = {}) {
    arguments.push_back("--json");
    Outcome const outcome = run(arguments, variables);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    std::map<std::string, Object> rows;
    json::Value const root = json::parse(outcome.output);
    for (json::Value const& row : root.get<Array>()) {
        Object const& object = row.get<Object>();
        rows[object.at("name").get<std::string>()] = object;
    }
    return rows;
}

inline std::int64_t number(Object const& row, std::string const& key) {
    return row.at(key).get<std::int64_t>();
}

inline std::vector<std::int64_t> engineValues(Object const& row) {
    std::vector<std::int64_t> values;
    for (json::Value const& value : row.at("engineValues").get<Array>())
        values.push_back(value.get<std::int64_t>());
    return values;
}

template <class Rows>
std::vector<std::string> keysOf(Rows const& rows) {
    std::vector<std::string> keys;
    for (auto const& [key, value] : rows)
        keys.push_back(key);
    return keys;
}

/// The table's row of a feature, its cells cut at blanks.
inline std::vector<std::string> cellsOf(std::string const& table, std::string const& name) {
    for (std::string const& line : linesOf(table)) {
        std::istringstream input(line);
        std::vector<std::string> cells{std::istream_iterator<std::string>(input), {}};
        if (!cells.empty() && cells.front() == name) return cells;
    }
    return {};
}

}  // namespace demo::test
