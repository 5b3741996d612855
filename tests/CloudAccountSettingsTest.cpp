#include <OrvaneCloudHost/CloudAccountSettings.h>

#include "support/LocalFiles.h"

#include <gmock/gmock.h>

namespace {

using namespace Orvane::Testing;
using Orvane::PDF::Cloud::CloudAccountSettings;

constexpr int kFiveSeconds = 5'000;
constexpr int kFiveMinutes = 300'000;
constexpr int kOneDay = 86'400'000;

TEST(CloudAccountSettingsTest, ReadsWhatMakesSenseAndFallsBackOtherwise)
{
    const std::map<std::string, std::pair<bool, int>> cases{
        {"", {false, kFiveMinutes}},
        {"Automatic=true\nIntervalInMilliseconds=60000", {true, 60'000}},
        {"Automatic=On\nIntervalInMilliseconds=\" 60000 \"", {true, 60'000}},
        {"Automatic=1\nIntervalInMilliseconds=4999", {true, kFiveSeconds}},
        {"Automatic=off\nIntervalInMilliseconds=-1", {false, kFiveSeconds}},
        {"Automatic=2\nIntervalInMilliseconds=4294967296000", {false, kOneDay}},
        {"Automatic=true, true\nIntervalInMilliseconds=60000, 1", {false, kFiveMinutes}},
        {"\xff\xfe=]\nIntervalInMilliseconds=60000.5", {false, kFiveMinutes}},
    };
    const TemporaryFolder folder;
    auto name = folder.Path() / "a";
    for (const auto& [content, expected] : cases) {
        Write(name += "a", "[Refresh]\n" + content + '\n');
        CloudAccountSettings settings(QString::fromStdString(name.string()));
        EXPECT_EQ(std::pair(settings.IsAutoRefreshEnabled(), settings.GetAutoRefreshInterval()), expected)
            << content;
    }
}

TEST(CloudAccountSettingsTest, StoresWhatIsSetAndSaysWhenItCannot)
{
    const TemporaryFolder folder;
    const auto name = QString::fromStdString((folder.Path() / "new" / "settings.ini").string());
    EXPECT_TRUE(CloudAccountSettings(name).SetAutoRefreshEnabled(true));
    EXPECT_TRUE(CloudAccountSettings(name).IsAutoRefreshEnabled());
    for (const auto& [set, stored] :
         std::map<int, int>{{60'000, 60'000}, {0, kFiveSeconds}, {2'000'000'000, kOneDay}}) {
        EXPECT_TRUE(CloudAccountSettings(name).SetAutoRefreshInterval(set));
        EXPECT_EQ(CloudAccountSettings(name).GetAutoRefreshInterval(), stored);
    }
    EXPECT_FALSE(CloudAccountSettings(name + QStringLiteral("/below.ini")).SetAutoRefreshEnabled(true));
}

} // namespace
