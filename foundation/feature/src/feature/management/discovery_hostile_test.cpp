// Manifests of extension bundles as a damaged or malicious file may have them. Whatever they hold, it is logged with the
// bundle's file, and the features of the other bundles are registered.

#include "DiscoveryTest.hpp"

#include <support/isSanitized.hpp>

#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace foundation::feature::management::test {
namespace {

using foundation::test::isSanitized;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class AHostileManifest : public Discovery {
protected:
    /// Looks up a feature of a good bundle that comes last; the one record there must then be, but for what all such
    /// begin with.
    std::string reason(std::string const& location) {
        addManifest("z_good", qz("Wanted"));
        EXPECT_TRUE(getFeature("Wanted"));
        std::vector<std::string> lines = logged(manifestChannel);
        std::vector<std::string> const notInstalled = logged(installerChannel);
        lines.insert(lines.end(), notInstalled.begin(), notInstalled.end());
        if (lines.size() != 1) {
            ADD_FAILURE() << testing::PrintToString(lines);
            return {};
        }
        for (std::string const& head :
             {"512: Unable to get fctrl list from " + location + ": Exception: ",
              "512: left out " + location + ": Failed to install bundle library at " + location + ": "}) {
            if (lines[0].starts_with(head)) return lines[0].substr(head.size());
        }
        ADD_FAILURE() << lines[0];
        return {};
    }

    /// Adds a bundle with the manifest's members as they are.
    std::string add(std::string const& members) { return addManifest("a_hostile", members); }
};

/// A list of features, of which the first is in order.
std::string listWith(std::string const& more) {
    return R"("qz": {"features": [)" + descriptor("Early") + ", " + more + "]}";
}

struct Row {
    char const* says;
    std::string manifest;
    std::string reason;
    bool keepsEarlyOne = true;  // Or nothing of the bundle is registered.
};

class AnyHostileManifest : public AHostileManifest, public testing::WithParamInterface<Row> {};

TEST_P(AnyHostileManifest, IsLoggedAndKeepsNobodyElseFromBeingRegistered) {
    EXPECT_THAT(reason(add(GetParam().manifest)), StartsWith(GetParam().reason)) << GetParam().says;
    EXPECT_FALSE(getFeature("Late"));
    EXPECT_EQ(getFeature("Early") != nullptr, GetParam().keepsEarlyOne);
}

std::string const deep = std::string(600, '[') + std::string(600, ']');

INSTANTIATE_TEST_SUITE_P(
    All,
    AnyHostileManifest,
    testing::Values(
        Row{"AnArrayForADescriptor",
            listWith("[], " + descriptor("Late")),
            "invalid conversion: array to object"},
        Row{"ANumberForADescriptor",
            listWith("1, " + descriptor("Late")),
            "invalid conversion: int64 to object"},
        Row{"AnObjectForAName",
            listWith(R"({"name": {}}, )" + descriptor("Late")),
            "property value unsupported: \"name\""},
        Row{"AnEmptyDescriptor", listWith("{}, " + descriptor("Late")), "property not specified: \"name\""},
        // A manifest's keys have no case: the second counts as the first once more.
        Row{"AListForAState",
            listWith(R"({"name": "Late", "FCtrlState": [], "FctrlState": "Beta"})"),
            "property not specified: \"FctrlState\""},
        Row{"AListForTheOtherState",
            listWith(R"({"name": "Late", "FctrlState": []})"),
            "property value unsupported: \"FctrlState\""},
        Row{"AMapForADefault",
            listWith(R"({"name": "Late", "FCtrlState": "Beta", "defaultValue": {"a": 1}})"),
            "property value unsupported: \"defaultValue\""},
        Row{"AListForALine",
            listWith(descriptor("Late", R"(, "line": [1])")),
            "property value unsupported: \"line\""},
        Row{"AMapForAFile",
            listWith(descriptor("Late", R"(, "file": {})")),
            "property value unsupported: \"file\""},
        Row{"AControlCharacterInAName",
            listWith(descriptor("a\\tb")),
            "fctrl: a\tb: feature control names must be printable"},
        Row{"AByteThatUtf8NeverUses",
            listWith(descriptor("Late", ", \"file\": \"a\xFF\"")),
            "JSON ParserException (E0007)",
            false},
        Row{"AnUnfinishedSequence",
            listWith(descriptor("Late", ", \"x\": [\"\xC3\"]")),
            "JSON ParserException (E0007)",
            false},
        Row{"ASurrogateInUtf8",
            R"("qz": {"features": ")" + std::string("\xED\xA0\x80") + "\"}",
            "JSON ParserException (E0007)",
            false},
        Row{"AFileThatIsNoUtf8",
            R"("qz": {"fctrl_json": ")" + std::string("\xC0\x80") + R"(", "features": [)" +
                descriptor("Late") + "]}",
            "ill-formed UTF-8 at offset 0: ",
            false},
        Row{"ANestingBombForAFeature",
            listWith(deep),
            "value not converted: it is nested more than 512 levels deep",
            false},
        Row{"ANestingBombInAnUnknownKey",
            listWith(descriptor("Late", R"(, "unknown": )" + deep)),
            "value not converted: it is nested more than 512 levels deep",
            false},
        Row{"ANumberForAModule",
            R"("qz": {"module": 1, "features": {}})",
            "cppmicroservices::BadAnyCastException",
            false}),
    [](auto const& row) { return row.param.says; });

#if defined(EMBEDDED_FRAMEWORK)
// The installed framework has no such limits.

TEST_F(AHostileManifest, ThatIsTooLargeSaysSo) {
    std::string const location = add("\"a\": \"" + std::string(std::size_t{17} << 20, 'x') + '"');
    EXPECT_EQ(reason(location), "a_hostile/manifest.json has more than 16777216 bytes");
}

TEST_F(AHostileManifest, ThatIsANestingBombSaysSo) {
    std::string const location = add("\"a\": " + std::string(1000000, '['));
    EXPECT_EQ(reason(location),
              "Parsing of manifest.json for bundle a_hostile at " + location +
                  " failed: More than 2048 levels of nesting.");
}

#endif

TEST_F(AHostileManifest, MayNameAKeyTwiceAndTheFirstCounts) {
    addManifest("a_hostile",
                qz("First", R"("features": [)" + descriptor("Second") + "]") + ", " + qz("Third") +
                    R"(, "QZ": {"features": [)" + descriptor("Fourth") + "]}");
    addManifest(
        "z_good",
        R"("qz": {"features": [{"name": "Alpha", "name": "Beta", "FCtrlState": "Beta", "defaultValue": 1}]})");
    EXPECT_TRUE(getFeature("First"));
    EXPECT_TRUE(getFeature("Alpha"));
    for (char const* const name : {"Second", "Third", "Fourth", "Beta"})
        EXPECT_FALSE(getFeature(name)) << name;
    EXPECT_THAT(logged(manifestChannel), IsEmpty());
}

TEST_F(AHostileManifest, OfAsManyFeaturesAsItHasRoomForIsRegistered) {
    // Sanitizers take minutes for as many.
    std::size_t const count = isSanitized ? 5000 : 150000;
    std::string list = descriptor("Feature 0");
    for (std::size_t i = 1; i < count; ++i)
        list += ',' + descriptor("Feature " + std::to_string(i));
    ASSERT_LT(list.size(), std::size_t{16} << 20);
    addManifest("a_hostile", R"("qz": {"features": [)" + list + "]}");
    EXPECT_TRUE(getFeature("Feature " + std::to_string(count - 1)));
    EXPECT_THAT(logged(manifestChannel), IsEmpty());
}

}  // namespace
}  // namespace foundation::feature::management::test
