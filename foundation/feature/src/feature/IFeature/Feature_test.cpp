#include <foundation/feature/Feature.hpp>

#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <foundation/feature/management.hpp>

#include <foundation/log/diagnostic_logger.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LogCapture.hpp"

namespace foundation::feature {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

void registerBeta(std::string name, int defaultValue, Scope scope) {
    management::registerFeature(scope, std::move(name), defaultValue, "Beta", "", "", 0, "", "module");
}

/// The texts of the lookup channel's parameter records from now on.
class Lookups {
public:
    Lookups() { log::setChannelMask("foundation::feature::lookup", 2); }

    std::vector<std::string> take() {
        std::vector<std::string> texts;
        for (auto const& record : capture_.records())
            texts.push_back(record.message);
        std::vector<std::string> fresh(texts.begin() + static_cast<std::ptrdiff_t>(taken_), texts.end());
        taken_ = texts.size();
        return fresh;
    }

private:
    test::LogCapture capture_;
    std::size_t taken_ = 0;
};

template <int S>
concept IsAHandle = requires {
    sizeof(Feature<S>);
};

TEST(ATypedHandle, ExistsForTheTwoScopesOnly) {
    static_assert(std::is_same_v<Feature<0>, Feature<Scope::PROCESS>>);
    static_assert(std::is_same_v<Feature<1>, Feature<Scope::ZOR>>);
    static_assert(IsAHandle<0> && IsAHandle<1>);
    static_assert(!IsAHandle<2> && !IsAHandle<-1>);
    EXPECT_EQ(Feature<0>("Alpha").getScope(), Scope::PROCESS);
    EXPECT_EQ(Feature<1>("Alpha").getScope(), Scope::ZOR);
}

TEST(AProcessHandle, IsResolvedOnce) {
    registerBeta("Alpha", 5, Scope::PROCESS);
    Lookups lookups;
    Feature<0> const feature("Alpha");
    EXPECT_THAT(lookups.take(), IsEmpty());
    EXPECT_EQ(feature.getName(), "Alpha");
    EXPECT_THAT(lookups.take(), IsEmpty());
    EXPECT_EQ(feature.get(), 5);
    EXPECT_THAT(lookups.take(), ElementsAre(" name=Alpha"));
    EXPECT_EQ(feature.get(), 5);
    EXPECT_EQ(feature.getState(), management::process::getDataPtr("Alpha"));
}

TEST(APerInstanceHandle, FindsItsIndexOnceAndItsRecordEachTime) {
    registerBeta("Alpha", 5, Scope::ZOR);
    Lookups lookups;
    Feature<1> const feature("Alpha");
    EXPECT_EQ(feature.get(), 5);
    EXPECT_THAT(lookups.take(), ElementsAre(" name=Alpha", " index=0"));
    EXPECT_EQ(feature.get(), 5);
    EXPECT_THAT(lookups.take(), ElementsAre(" index=0"));
}

TEST(ACopyOfAHandle, KeepsWhatTheOriginalHasFoundOut) {
    registerBeta("Alpha", 5, Scope::PROCESS);
    registerBeta("Beta", 6, Scope::ZOR);
    Feature<0> const process("Alpha");
    Feature<1> const zor("Beta");
    EXPECT_EQ(process.get() + zor.get(), 11);

    Lookups lookups;
    auto const processCopy = std::make_unique<Feature<0>>(process);
    auto const zorCopy = std::make_unique<Feature<1>>(zor);
    EXPECT_EQ(processCopy->get() + zorCopy->get(), 11);
    EXPECT_THAT(lookups.take(), ElementsAre(" index=0"));
    EXPECT_EQ(processCopy->getName().data(), process.getName().data());
}

TEST(AssigningATypedHandle, TakesOverNameAndFeature) {
    registerBeta("Alpha", 1, Scope::PROCESS);
    registerBeta("Beta", 2, Scope::PROCESS);
    registerBeta("Gamma", 3, Scope::ZOR);
    registerBeta("Delta", 4, Scope::ZOR);
    Feature<0> process("Alpha");
    Feature<1> zor("Gamma");
    EXPECT_EQ(process.get() + zor.get(), 4);
    process = Feature<0>("Beta");
    zor = Feature<1>("Delta");
    EXPECT_EQ(process.getName(), "Beta");
    EXPECT_EQ(process.get(), 2);
    EXPECT_EQ(zor.getName(), "Delta");
    EXPECT_EQ(zor.get(), 4);
}

TEST(AssigningThroughTheInterface, TakesOverTheNameViewAlone) {
    registerBeta("Alpha", 1, Scope::PROCESS);
    registerBeta("Beta", 2, Scope::PROCESS);
    Feature<0> alpha("Alpha");
    Feature<0> const beta("Beta");
    EXPECT_EQ(alpha.get(), 1);
    static_cast<IFeature&>(alpha) = beta;
    EXPECT_EQ(alpha.getName(), "Beta");
    EXPECT_EQ(alpha.get(), 1);
}

TEST(TheNameOfAHandle, IsReadUpToItsNulWhateverTheViewsLength) {
    registerBeta("AlphaBeta", 5, Scope::PROCESS);
    registerBeta("GammaDelta", 6, Scope::ZOR);
    Feature<0> const process(std::string_view("AlphaBeta", 5));
    Feature<1> const zor(std::string_view("GammaDelta", 5));
    EXPECT_EQ(process.getName(), "Alpha");
    EXPECT_EQ(process.get(), 5);
    EXPECT_EQ(zor.get(), 6);
}

TEST(AHandleOfAnUnregisteredName, ThrowsOnEachUseAndTriesAgain) {
    Feature<0> const process("Alpha");
    Feature<1> const zor("Beta");
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_THAT([&] { process.get(); },
                    testing::ThrowsMessage<std::out_of_range>("unregistered feature: Alpha"));
        EXPECT_THAT([&] { zor.get(); },
                    testing::ThrowsMessage<std::out_of_range>("unregistered feature: Beta"));
    }
    registerBeta("Alpha", 5, Scope::PROCESS);
    registerBeta("Beta", 6, Scope::ZOR);
    EXPECT_EQ(process.get(), 5);
    EXPECT_EQ(zor.get(), 6);
}

TEST(AHandleOfTheWrongScope, SaysSo) {
    registerBeta("Alpha", 5, Scope::PROCESS);
    registerBeta("Beta", 6, Scope::ZOR);
    EXPECT_THAT([] { Feature<1>("Alpha").get(); },
                testing::ThrowsMessage<std::out_of_range>("feature \"Alpha\" is per process, not per zor"));
    EXPECT_THAT([] { Feature<0>("Beta").get(); },
                testing::ThrowsMessage<std::out_of_range>("feature \"Beta\" is per zor, not per process"));
}

TEST(AHandleWithoutAName, IsUnregistered) {
    EXPECT_THAT([] { Feature<0>(std::string_view()).get(); },
                testing::ThrowsMessage<std::out_of_range>("unregistered feature: "));
}

TEST(TheTextOfAScope, IsTheSameWhateverTheStreamDoesToNumbers) {
    struct Row {
        Scope scope;
        char const* text;
    };
    Row const rows[] = {
        {Scope::PROCESS, "Scope::PROCESS"},
        {Scope::ZOR, "Scope::ZOR"},
        {static_cast<Scope>(2), "Scope::2"},
        {static_cast<Scope>(-1), "Scope::-1"},
        {static_cast<Scope>(123456), "Scope::123456"},
    };
    for (Row const& row : rows) {
        std::ostringstream out;
        out << std::hex << std::showbase << row.scope;
        EXPECT_EQ(out.str(), row.text);
    }
}

}  // namespace
}  // namespace foundation::feature
