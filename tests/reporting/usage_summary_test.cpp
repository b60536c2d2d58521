// The plug-in entries of the usage summary: counted by kind, names cleaned, at most 400.
#include <gtest/gtest.h>

#include "reporting/usage_summary.h"

namespace {

PluginOutcome outcome(const std::string& plugin, OutcomeStatus status, const std::string& format,
                      const std::string& maker = "") {
    PluginOutcome one;
    one.track = "Lead Vocal";  // never in the summary
    one.plugin = plugin;
    one.status = status;
    one.format = format;
    one.maker = maker;
    return one;
}

}  // namespace

TEST(UsageSummary, PluginEntriesByKindWithCleanNames) {
    PluginOutcome inactive = outcome("Pro-Q 3", OutcomeStatus::settings, "vst3", "FabFilter");
    inactive.wasInactive = true;
    PluginOutcome notInstalled = outcome("Decapitator", OutcomeStatus::defaults, "vst2", "Soundtoys");
    notInstalled.notInstalled = true;
    const std::vector<PluginOutcome> outcomes = {
        outcome("Pro-Q 3", OutcomeStatus::settings, "vst3", "FabFilter"),
        outcome("Pro-Q 3", OutcomeStatus::settings, "vst3", "FabFilter"),
        outcome("Pro-Q 3", OutcomeStatus::settings, "vst2", "FabFilter"),
        inactive,
        notInstalled,
        outcome("\xC3\xA9\xE2\x82\xAC", OutcomeStatus::notRecognised, ""),
        outcome("  In/Out \"Trim\"  ", OutcomeStatus::leftOutNoState, "reaper"),
    };
    bool truncated = true;
    EXPECT_EQ(usagePluginEntries(outcomes, truncated),
              "[{\"product\":\"(unnamed)\",\"result\":\"unsupported\",\"as\":\"none\",\"count\":1},"
              "{\"product\":\"Decapitator\",\"maker\":\"Soundtoys\",\"result\":\"missing\",\"as\":\"vst2\",\"count\":1},"
              "{\"product\":\"In-Out -Trim-\",\"result\":\"left-out\",\"as\":\"reaper\",\"count\":1},"
              "{\"product\":\"Pro-Q 3\",\"maker\":\"FabFilter\",\"result\":\"inactive\",\"as\":\"vst3\",\"count\":1},"
              "{\"product\":\"Pro-Q 3\",\"maker\":\"FabFilter\",\"result\":\"settings\",\"as\":\"vst2\",\"count\":1},"
              "{\"product\":\"Pro-Q 3\",\"maker\":\"FabFilter\",\"result\":\"settings\",\"as\":\"vst3\",\"count\":2}]");
    EXPECT_FALSE(truncated);
    EXPECT_EQ(cleanUsageName(std::string(70, 'x')), std::string(64, 'x'));

    // 400 kinds fit; the 401st is left out and said.
    std::vector<PluginOutcome> many;
    for (int n = 0; n < 401; ++n) many.push_back(outcome("P" + std::to_string(1000 + n), OutcomeStatus::settings, "vst3"));
    const std::string all = usagePluginEntries(many, truncated);
    EXPECT_TRUE(truncated);
    EXPECT_EQ(all.find("P1400"), std::string::npos);
    EXPECT_NE(all.find("P1399"), std::string::npos);
    many.pop_back();
    usagePluginEntries(many, truncated);
    EXPECT_FALSE(truncated);
}
