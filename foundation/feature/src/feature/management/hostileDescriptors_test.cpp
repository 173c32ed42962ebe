// Descriptor lists and values that nobody would write by hand: in size, in depth, in every byte.

#include "RegistryTest.hpp"

#include <foundation/feature/convert.hpp>
#include <foundation/feature/management.hpp>
#include <foundation/json/parse.hpp>

#include <support/isSanitized.hpp>

#include <cppmicroservices/Any.h>

#include <cstddef>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace foundation::feature::management::test {
namespace {

using foundation::test::isSanitized;
using foundation::test::LogCapture;
using json::ParseResult;
using json::ParserException;
using json::Value;
using Object = std::map<std::string, Value>;
using testing::EndsWith;
using testing::StartsWith;

/// A hundred million bytes. Sanitizers need many times the memory and time for each, and see no more in them.
constexpr std::size_t huge = isSanitized ? 1000000 : 100000000;

Object descriptor(std::string name) {
    return {{"name", Value(std::move(name))},
            {"FCtrlState", Value("Beta")},
            {"defaultValue", Value(3)},
            {"type", Value("perPROCESS")}};
}

void registerAll(std::vector<Value> const& list) {
    registerFeatures(list, u"list.json", "component", "module", std::nullopt);
}

/// What registering a descriptor throws, with this text under `key`.
template <class Exception>
std::string refusal(std::string const& key, std::string text) {
    Object object = descriptor("Alpha");
    object.insert_or_assign(key, Value(std::move(text)));
    std::vector<Value> const list = {Value(std::move(object))};
    return textThrown<Exception>([&list] { registerAll(list); });
}

TEST(AHugeText, IsRefusedWholeForANameAStateAndAType) {
    LogCapture const capture;  // Else the records go to the console.
    std::string const text(huge, 'x');
    EXPECT_EQ(refusal<std::invalid_argument>("name", text),
              "fctrl: " + text + ": feature control names must be non-empty and less than 128 characters");
    EXPECT_EQ(refusal<std::invalid_argument>("FCtrlState", text),
              "fctrl: Alpha: feature control state must be one of: \"Off\", \"On\", \"Beta\", \"Preview\", "
              "\"DebugOrTest\"");
    EXPECT_EQ(refusal<std::logic_error>("type", text),
              "illegal value of fctrl type: \"" + text + R"(".  Legal values: "perZOR", "perPROCESS")");
    ASSERT_EQ(capture.records().size(), 2U) << "types are not logged";
    EXPECT_EQ(capture.records()[0].message,
              text + ": feature control names must be non-empty and less than 128 characters");
    EXPECT_TRUE(isUnknown("Alpha"));
}

TEST(AHugeText, IsAFileLikeAnyOtherAndANumberUpToItsFirstLetter) {
    Object object = descriptor("Alpha");
    object.insert_or_assign("file", Value(std::string(huge, 'x')));
    object.insert_or_assign("line", Value(std::string(huge, '9')));
    object.insert_or_assign("defaultValue", Value("7" + std::string(huge, 'x')));
    object.emplace("unknown", Value(std::string(huge, 'x')));
    registerAll({Value(std::move(object))});
    auto const feature = getFeature("Alpha");
    ASSERT_TRUE(feature);
    EXPECT_EQ(feature->getFilename(), std::string(huge, 'x'));
    EXPECT_EQ(feature->getLine(), 2147483647);
    EXPECT_EQ(feature->get(), 7);
}

TEST(AHugeText, OfTheServiceFrameworkIsConverted) {
    std::string text(huge, 'x');
    text.back() = '"';
    EXPECT_EQ(convert(::cppmicroservices::Any(text)), Value(text));
    text.back() = '\xFF';
    try {
        convert(::cppmicroservices::Any(text));
        FAIL() << "it is no UTF-8";
    } catch (ParserException const& error) {
        EXPECT_EQ(error.code(), ParseResult::invalidUtf8);
        EXPECT_EQ(error.column(), huge + 1) << "behind the quotation mark";
    }
}

TEST(AMillionDescriptors, AreRegisteredAndAnErrorInTheLastLosesNoneOfThem) {
    std::size_t const count = isSanitized ? 20000 : 1000000;
    std::vector<Value> list;
    list.reserve(count + 1);
    for (std::size_t i = 0; i < count; ++i)
        list.emplace_back(descriptor("Feature " + std::to_string(i)));
    list.emplace_back("no descriptor");
    EXPECT_EQ(textThrown<std::runtime_error>([&list] { registerAll(list); }),
              "invalid conversion: string to object");
    EXPECT_EQ(getAllFeatures().size(), count);
    EXPECT_EQ(process::getDataPtr("Feature " + std::to_string(count - 1))->value, 3);
}

TEST(ANestingBomb, IsRefusedAsText) {
    for (std::string_view const opening : {"[", R"({"a":)", "[[{\"a\":[", "[{},"}) {
        SCOPED_TRACE(opening);
        std::string text;
        while (text.size() < huge / 10)
            text += opening;
        try {
            json::parse(text);
            FAIL() << "it has no end";
        } catch (ParserException const& error) {
            EXPECT_EQ(error.code(), ParseResult::nestingTooDeep);
        }
    }
}

TEST(ANestingBomb, IsRefusedAsAValueWhereverItStands) {
    // The deepest that the parser reads, inside what is no text and no number.
    Value const bomb = json::parse(std::string(512, '[') + std::string(512, ']'));
    for (char const* const key : {"name", "FctrlState", "type", "defaultValue", "file", "line"}) {
        SCOPED_TRACE(key);
        Object object = descriptor("Alpha");
        object.insert_or_assign(key, bomb);
        if (key == std::string_view("FctrlState"))
            object.insert_or_assign("FCtrlState", bomb);  // It is tried first.
        std::vector<Value> const list = {Value(std::move(object))};
        EXPECT_THAT(textThrown<std::runtime_error>([&list] { registerAll(list); }),
                    testing::StartsWith("property value unsupported: \"" + std::string(key) +
                                        "\"\ninvalid conversion: array to "));
    }
    Object object = descriptor("Alpha");
    object.emplace("unknown", bomb);
    EXPECT_NO_THROW(registerAll({Value(std::move(object))})) << "keys that are not known do not count";
}

TEST(ANameOfADescriptor, MayHoldTheBytesOfPrintableAsciiAndNoOther) {
    for (int byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        std::string const name = std::string("a") + static_cast<char>(byte) + "b";
        if (byte >= 0x20 && byte <= 0x7E) {
            registerAll({Value(descriptor(name))});
            ASSERT_TRUE(getFeature(name));
            EXPECT_EQ(getFeature(name)->getName(), name);
        } else {
            std::string const message = refusal<std::invalid_argument>("name", name);
            EXPECT_THAT(message, StartsWith(byte == 0 ? "fctrl: a" : "fctrl: " + name + ": "));
            // A NUL byte ends the text: that of the exception, which is the standard library's.
            if (byte != 0) {
                EXPECT_THAT(message,
                            EndsWith(std::string(1, static_cast<char>(byte)) + "\" is not allowed."));
            }
            EXPECT_TRUE(isUnknown(name));
        }
    }
    EXPECT_EQ(getAllFeatures().size(), 95U);
}

}  // namespace
}  // namespace foundation::feature::management::test
