#include <foundation/feature/management.hpp>

#include <foundation/log/diagnostic_logger.hpp>

#include <LogCapture.hpp>

#include "RegistryTest.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace foundation::feature::management::test {
namespace {

using foundation::test::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

std::string const lengthMessage = "feature control names must be non-empty and less than 128 characters";
std::string const stateMessage =
    R"(feature control state must be one of: "Off", "On", "Beta", "Preview", "DebugOrTest")";

std::string characterMessage(std::string const& character) {
    return "feature control names must be printable ascii.  Character: \"" + character + "\" is not allowed.";
}

/// What is wrong with the declaration, without the words in front of it; empty when nothing is.
std::string messageFor(Declaration const& declaration) {
    try {
        declare(declaration);
        return {};
    } catch (std::invalid_argument const& error) {
        std::string const text = error.what();
        std::string const front = "fctrl: " + declaration.name + ": ";
        EXPECT_THAT(text, StartsWith(front));
        return text.substr(std::min(front.size(), text.size()));
    }
}

TEST(AFeatureName, HasOneTo127Bytes) {
    struct Row {
        char const* says;
        std::size_t length;
        std::string message;
    };
    Row const rows[] = {
        {"an empty name is refused for its length, not for its characters", 0, lengthMessage},
        {"one byte is enough", 1, ""},
        {"127 bytes are the most", 127, ""},
        {"128 bytes are refused", 128, lengthMessage},
        {"a very long name is refused", 100'000, lengthMessage},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(messageFor({.name = std::string(row.length, 'n')}), row.message);
    }
}

TEST(AFeatureName, HoldsPrintableAsciiOnly) {
    for (int byte = 1; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        std::string const character(1, static_cast<char>(byte));
        bool const isAllowed = byte >= 0x20 && byte <= 0x7E;
        std::string const message = isAllowed ? "" : characterMessage(character);
        EXPECT_EQ(messageFor({.name = character}), message) << "alone";
        EXPECT_EQ(messageFor({.name = character + "first"}), message) << "first";
        EXPECT_EQ(messageFor({.name = "in" + character + "between"}), message) << "between";
        EXPECT_EQ(messageFor({.name = "last" + character}), message) << "last";
    }
}

TEST(AFeatureName, HoldsNoNul) {
    Declaration const declaration{.name = std::string("in\0between", 10)};
    // The exception's text is read up to the NUL, which stands in the name already.
    EXPECT_EQ(textThrown<std::invalid_argument>([&] { declare(declaration); }), "fctrl: in");
    EXPECT_THAT(allNames(), IsEmpty());
}

TEST(AFeatureName, MayHoldABlankButNoTab) {
    EXPECT_EQ(messageFor({.name = "My Feature"}), "");
    EXPECT_EQ(messageFor({.name = "My\tFeature"}), characterMessage("\t"));
    EXPECT_THAT(allNames(), ElementsAre("My Feature"));
}

TEST(AFeatureName, IsRefusedForItsFirstBadByteAlone) {
    struct Row {
        char const* says;
        std::string name;
        std::string byte;
    };
    Row const rows[] = {
        {"the first of two bad bytes is named", "a\x01\x02", "\x01"},
        {"the first byte of a UTF-8 letter goes in raw", "caf\xC3\xA9", "\xC3"},
        {"a quote is allowed, the DEL behind it is not", "a\"\x7F", "\x7F"},
        {"a line feed goes in raw", "a\nb", "\n"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(messageFor({.name = row.name}), characterMessage(row.byte));
    }
}

TEST(AFeatureState, IsMatchedByteForByte) {
    std::string const states[] = {"",
                                  "off",
                                  "ON",
                                  "on",
                                  "beta",
                                  "PREVIEW",
                                  "debugOrTest",
                                  "Debug",
                                  "DebugOrTest ",
                                  " Off",
                                  "Off\t",
                                  std::string("Off\0", 4),
                                  "Released"};
    for (std::string const& state : states) {
        SCOPED_TRACE(state);
        EXPECT_EQ(messageFor({.defaultValue = 0, .state = state}), stateMessage);
        EXPECT_EQ(messageFor({.defaultValue = 1, .state = state}), stateMessage);
    }
}

TEST(AFeatureState, RulesTheDefaultValue) {
    constexpr int largest = std::numeric_limits<int>::max();
    constexpr int smallest = std::numeric_limits<int>::min();
    std::string const off = "default value of Off fctrl must be 0";
    std::string const on = "default value of On fctrl msut be non zero";
    std::string const debugOrTest = "default value of DebugOrTest fctrl must be 0";
    struct Row {
        char const* says;
        char const* state;
        std::vector<int> defaultValues;
        std::string message;
    };
    Row const rows[] = {
        {"Off with 0", "Off", {0}, ""},
        {"Off with anything else", "Off", {1, -1, 2, largest, smallest}, off},
        {"On with 0", "On", {0}, on},
        {"On with anything else", "On", {1, -1, 2, largest, smallest}, ""},
        {"Beta with anything", "Beta", {0, 1, -1, 2, largest, smallest}, ""},
        {"Preview with anything", "Preview", {0, 1, -1, 2, largest, smallest}, ""},
        {"DebugOrTest with 0", "DebugOrTest", {0}, ""},
        {"DebugOrTest with anything else", "DebugOrTest", {1, -1, 2, largest, smallest}, debugOrTest},
    };
    for (Row const& row : rows) {
        for (int const defaultValue : row.defaultValues) {
            SCOPED_TRACE(row.says + std::string(": ") + std::to_string(defaultValue));
            std::string const name = row.state + std::string(" ") + std::to_string(defaultValue);
            EXPECT_EQ(messageFor({.name = name, .defaultValue = defaultValue, .state = row.state}),
                      row.message);
            EXPECT_EQ(getFeature(name) != nullptr, row.message.empty());
        }
    }
}

TEST(AnInvalidFeature, IsRefusedForTheFirstRuleThatItBreaks) {
    struct Row {
        char const* says;
        std::string name;
        int defaultValue;
        char const* state;
        std::string message;
    };
    std::string const tooLongWithATab = std::string(127, 'n') + '\t';
    Row const rows[] = {
        {"length before characters", tooLongWithATab, 1, "Off", lengthMessage},
        {"length before state", "", 1, "off", lengthMessage},
        {"characters before state", "a\tb", 1, "off", characterMessage("\t")},
        {"characters before default value", "a\tb", 1, "Off", characterMessage("\t")},
        {"state before default value", "Alpha", 1, "off", stateMessage},
        {"default value last", "Alpha", 1, "Off", "default value of Off fctrl must be 0"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(messageFor({.name = row.name, .defaultValue = row.defaultValue, .state = row.state}),
                  row.message);
    }
}

TEST(AnInvalidFeature, IsRefusedInEveryScope) {
    for (int const scope : {0, 1, 2, -1}) {
        SCOPED_TRACE(scope);
        EXPECT_EQ(messageFor({.scope = static_cast<Scope>(scope), .state = "off"}), stateMessage);
    }
}

TEST(AnInvalidFeature, IsRefusedWithItsNameInFront) {
    struct Row {
        char const* says;
        Declaration declaration;
        char const* text;
    };
    Row const rows[] = {
        {"an empty name leaves its place empty",
         {.name = ""},
         "fctrl: : feature control names must be non-empty and less than 128 characters"},
        {"a bad byte stands in the name and in the message",
         {.name = "My\tFeature"},
         "fctrl: My\tFeature: feature control names must be printable ascii.  "
         "Character: \"\t\" is not allowed."},
        {"a wrong default value",
         {.defaultValue = 0, .state = "On"},
         "fctrl: Alpha: default value of On fctrl msut be non zero"},
        {"a wrong state",
         {.state = "on"},
         "fctrl: Alpha: feature control state must be one of: \"Off\", \"On\", \"Beta\", \"Preview\", "
         "\"DebugOrTest\""},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(textThrown<std::invalid_argument>([&] { declare(row.declaration); }), row.text);
    }
}

TEST(AnInvalidFeature, LeavesNothingBehind) {
    EXPECT_NE(messageFor({.scope = Scope::ZOR, .name = "ALPHA", .state = "off", .module = "m1"}), "");
    EXPECT_NE(messageFor({.scope = Scope::PROCESS, .name = "ALPHA", .state = "off", .module = "m1"}), "");
    EXPECT_TRUE(isUnknown("ALPHA"));
    EXPECT_TRUE(isUnknown("alpha"));

    declare({.scope = Scope::ZOR, .name = "Alpha", .module = "m2"});
    declare({.scope = Scope::ZOR, .name = "ALPHA", .module = "m2"});
    EXPECT_EQ(zor::getDataIndex("Alpha"), 0u) << "a refused feature takes no index";
    EXPECT_EQ(zor::getDataIndex("ALPHA"), 1u) << "nor does its module hold the name";
    EXPECT_EQ(getFeatureIgnoreCase("alpha")->getName(), "Alpha") << "nor its lower-case form";
}

TEST(ARefusal, IsWrittenByDefault) {
    LogCapture const capture;
    EXPECT_NE(messageFor({.state = "off"}), "");
    EXPECT_THAT(written(capture, registrationChannel), ElementsAre("512: Alpha: " + stateMessage));
}

TEST(ARefusal, IsWrittenAsNameAndMessage) {
    LogCapture capture;
    struct Row {
        char const* says;
        Declaration declaration;
        std::string record;
    };
    Row const rows[] = {
        {"an empty name", {.name = ""}, "512: : " + lengthMessage},
        {"a raw byte", {.name = "a\xFF"}, "512: a\xFF: " + characterMessage("\xFF")},
        {"a line feed", {.name = "a\nb"}, "512: a\nb: " + characterMessage("\n")},
        {"a default value",
         {.defaultValue = 2, .state = "DebugOrTest"},
         "512: Alpha: default value of DebugOrTest fctrl must be 0"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        capture.clear();
        EXPECT_NE(messageFor(row.declaration), "");
        EXPECT_THAT(written(capture, registrationChannel), ElementsAre(row.record));
    }
}

TEST(ARefusal, IsThrownEvenWhenItIsNotWritten) {
    LogCapture const capture;
    foundation::log::setChannelMask(registrationChannel, ~512u & ~(32u | 64u | 2u));
    EXPECT_EQ(messageFor({.state = "off"}), stateMessage);
    EXPECT_THAT(written(capture, registrationChannel), IsEmpty());
}

TEST(TheRules, AreReadByThreadsThatStartTogether) {
    foundation::log::setChannelMask(registrationChannel, 0);
    runTogether(8, [](int number) {
        std::string const name = "feature" + std::to_string(number);
        EXPECT_EQ(messageFor({.name = name, .state = "off"}), stateMessage);
        EXPECT_EQ(messageFor({.name = name, .defaultValue = 0, .state = "Off"}), "");
    });
    EXPECT_EQ(getAllFeatures().size(), 8u);
}

}  // namespace
}  // namespace foundation::feature::management::test
