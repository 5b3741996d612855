#include <OrvaneCloudHost/CloudAccountSettings.h>

#include "support/LocalFiles.h"

#include <gtest/gtest.h>

#include <map>

namespace {

using namespace Orvane::Testing;
using Orvane::PDF::Cloud::CloudAccountSettings;

TEST(CloudAccountSettingsTest, KeepsWhatMakesSenseAndFallsBackOtherwise)
{
    constexpr int kFiveMinutes = 300'000;
    const std::map<std::string, std::pair<bool, int>> cases{
        {"Automatic=On\nIntervalInMilliseconds=\" 60000 \"", {true, 60'000}},
        {"Automatic=1\nIntervalInMilliseconds=4999", {true, 5'000}},
        {"Automatic=off\nIntervalInMilliseconds=4294967296000", {false, 86'400'000}},
        {"\xff\xfe=]\nAutomatic=true, true\nIntervalInMilliseconds=60000.5", {false, kFiveMinutes}},
    };
    const TemporaryFolder folder;
    auto file = folder.Path() / "a";
    for (const auto& [content, expected] : cases) {
        Write(file += "a", "[Refresh]\n" + content + '\n');
        CloudAccountSettings settings(QString::fromStdString(file.string()));
        EXPECT_EQ(settings.IsAutoRefreshEnabled(), expected.first) << content;
        EXPECT_EQ(settings.GetAutoRefreshInterval(), expected.second) << content;
    }

    const auto made = QString::fromStdString((folder.Path() / "new" / "settings.ini").string());
    for (const auto& [wanted, kept] : {std::pair(0, 5000), {5001, 5001}, {86'400'001, 86'400'000}}) {
        EXPECT_TRUE(CloudAccountSettings(made).SetAutoRefreshInterval(wanted));
        EXPECT_EQ(CloudAccountSettings(made).GetAutoRefreshInterval(), kept);
    }
    for (const bool isEnabled : {true, false}) {
        EXPECT_TRUE(CloudAccountSettings(made).SetAutoRefreshEnabled(isEnabled));
        EXPECT_EQ(CloudAccountSettings(made).IsAutoRefreshEnabled(), isEnabled);
    }
    EXPECT_EQ(CloudAccountSettings(made).GetAutoRefreshInterval(), 86'400'000) << "both are kept";
    EXPECT_FALSE(CloudAccountSettings(made + QStringLiteral("/below")).SetAutoRefreshEnabled(true));
}

} // namespace
