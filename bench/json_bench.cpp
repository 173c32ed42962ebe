// Descriptor lists: reading their text, and registering what they list.

#include "BareRegistry.hpp"
#include "measure.hpp"

#include "JsonReader.hpp"

#include <foundation/feature/management.hpp>

#include <foundation/json/Value.hpp>
#include <foundation/json/parse.hpp>

#include <benchmark/benchmark.h>
#include <boost/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace bench {
namespace {

using benchmark::DoNotOptimize;
using foundation::feature::Scope;
using foundation::json::Value;
using Object = std::map<std::string, Value>;
namespace management = foundation::feature::management;

constexpr std::size_t descriptorCount = 100'000;

/// A descriptor list as people write it.
std::string descriptorList() {
    std::string text = "[\n";
    for (std::size_t number = 0; number < descriptorCount; ++number) {
        if (number != 0) text += ",\n";
        text += R"(  {"name": ")" + featureName(number) + R"(", "FCtrlState": "Beta", "type": ")" +
                (number % 2 == 0 ? "perPROCESS" : "perZOR") +
                R"(", "defaultValue": 1, "file": "viewer/meshing/source/AdaptiveRefinement.cpp", "line": )" +
                std::to_string(number % 1'000) + "}";
    }
    return text + "\n]\n";
}

/// Makes values of what RapidJSON reads.
class ValueBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ValueBuilder> {
public:
    bool Null() { return add(foundation::json::Null()); }
    bool Bool(bool truth) { return add(truth); }
    bool Int(int number) { return add(number); }
    bool Uint(unsigned number) { return add(static_cast<std::int64_t>(number)); }
    bool Int64(std::int64_t number) { return add(number); }
    bool Uint64(std::uint64_t number) { return add(number); }
    bool Double(double number) { return add(number); }
    bool String(char const* text, rapidjson::SizeType length, bool) { return add(std::string(text, length)); }
    bool Key(char const* text, rapidjson::SizeType length, bool) {
        levels_.back().name.assign(text, length);
        return true;
    }
    bool StartObject() {
        levels_.emplace_back().isObject = true;
        return true;
    }
    bool StartArray() {
        levels_.emplace_back();
        return true;
    }
    bool EndObject(rapidjson::SizeType) { return close(std::exchange(levels_.back().members, {})); }
    bool EndArray(rapidjson::SizeType) { return close(std::exchange(levels_.back().items, {})); }

    Value document;

private:
    struct Level {
        bool isObject = false;
        std::string name;
        Object members;
        std::vector<Value> items;
    };

    bool close(Value value) {
        levels_.pop_back();
        return add(std::move(value));
    }

    bool add(Value value) {
        if (levels_.empty()) {
            document = std::move(value);
        } else if (Level& level = levels_.back(); level.isObject) {
            level.members.emplace(std::move(level.name), std::move(value));
        } else {
            level.items.push_back(std::move(value));
        }
        return true;
    }

    std::vector<Level> levels_;
};

Value readIntoValues(std::string const& text) {
    ValueBuilder builder;
    rapidjson::StringStream stream(text.c_str());
    rapidjson::Reader().Parse(stream, builder);
    return std::move(builder.document);
}

double timeOfRegistering() {
    std::string const text = descriptorList();
    double const time = timeOf([&] {
        Value const list = foundation::json::parse(text);
        management::registerFeatures(list.get<std::vector<Value>>(),
                                     fl::filesystem::path(u"list.json"),
                                     "Meshing",
                                     "meshing",
                                     "viewer/meshing");
    });
    return time / static_cast<double>(descriptorCount);
}

double timeOfRegisteringBare() {
    auto& registry = *new BareRegistry;  // not destroyed: nor is its destruction measured
    std::string const text = descriptorList();
    double const time = timeOf([&] {
        Value const list = readIntoValues(text);
        for (Value const& descriptor : list.get<std::vector<Value>>()) {
            Object const& object = descriptor.get<Object>();
            registry.add(object.find("type")->second.get<std::string>() == "perZOR" ? Scope::ZOR
                                                                                    : Scope::PROCESS,
                         object.find("name")->second.get<std::string>(),
                         static_cast<int>(object.find("defaultValue")->second.get<std::int64_t>()),
                         object.find("FCtrlState")->second.get<std::string>(),
                         "viewer/meshing",
                         object.find("file")->second.get<std::string>(),
                         static_cast<int>(object.find("line")->second.get<std::int64_t>()),
                         "Meshing",
                         "meshing");
        }
    });
    return time / static_cast<double>(descriptorCount);
}

/// The least time of reading the list, in nanoseconds a byte; `read` gives what it has read.
template <class Read>
double timeOfReading(Read const& read) {
    std::string const text = descriptorList();
    double least = 0.0;
    for (int round = 0; round < 5; ++round) {
        double const start = threadTime();
        auto const result = read(text);
        double const time = threadTime() - start;
        DoNotOptimize(&result);
        least = round == 0 ? time : std::min(least, time);
    }
    return least / static_cast<double>(text.size());
}

}  // namespace

void addJson() {
    addScenario("registerFeatures/ours", timeOfRegistering);
    addScenario("registerFeatures/bare", timeOfRegisteringBare);
    addScenario("read_json/ours", [] {
        return timeOfReading([](std::string const& text) {
            Value value;
            std::size_t used = 0;
            management::readJson(text, value, used);
            return value;
        });
    });
    addScenario("read_json/rapidjson", [] {
        return timeOfReading([](std::string const& text) {
            rapidjson::Document document;
            document.Parse(text.c_str(), text.size());
            return document;
        });
    });
    addScenario("read_json/rapidjson_to_values", [] { return timeOfReading(readIntoValues); });
    // Reads nothing: what the values cost by themselves.
    addScenario("read_json/copying", [] {
        Value const list = readIntoValues(descriptorList());
        return timeOfReading([&](std::string const&) { return list; });
    });
    addScenario("read_json/boost", [] {
        return timeOfReading([](std::string const& text) { return boost::json::parse(text); });
    });
}

}  // namespace bench
