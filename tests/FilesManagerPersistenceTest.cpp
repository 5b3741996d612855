#include "support/FilesManagerFixture.h"

#include <QTimeZone>

#include <array>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using testing::ElementsAre;
using testing::IsEmpty;

class FilesManagerPersistenceTest : public FilesManagerFixture
{};

TEST_F(FilesManagerPersistenceTest, GreatestIdComesToTheFront)
{
    m_storage->m_records = {{"10", {}}, {"100", {}}, {"9", {}}, {"\u00e9", {}}, {"", {}}};
    Open();
    EXPECT_THAT(Ids(), ElementsAre("\u00e9", "9", "100", "10", ""));
}

TEST_F(FilesManagerPersistenceTest, LocalCopyIsLookedUpAndHashedWhenItIsThere)
{
    m_fileSystem->m_existing = {"/here/a.pdf"};
    const FakeStorage::Record values = {{"local_file_hash", "old"},
                                        {"file_hash", "cloud"},
                                        {"last_sync_file_hash", "before"},
                                        {"preview_path", "/p1;/p2;/p3;"}};
    m_storage->m_records = {{"1", values}, {"2", values}, {"3", values}};
    m_storage->m_records["1"]["file_path"] = "/gone/./a.pdf";
    m_storage->m_records["2"]["file_path"] = "/here/./a.pdf";
    EXPECT_THAT(During([this] { Open(); }),
                ElementsAre("LoadRecords()", "NormalizePath(/gone/./a.pdf)", "Exists(/gone/a.pdf)",
                            "NormalizePath(/here/./a.pdf)", "Exists(/here/a.pdf)",
                            "CalculateFileHash(/here/a.pdf)", "NormalizePath()", "Exists()"));
    const auto here = Stored("2");
    EXPECT_EQ(here.GetPath().utf8string(), "/here/a.pdf");
    EXPECT_EQ(here.GetMd5Hash(), "hash of /here/a.pdf");
    EXPECT_EQ(here.GetCloudHashBeforeChange(), "before");
    for (const std::string id : {"1", "3"}) {
        const auto cloudOnly = Stored(id);
        EXPECT_TRUE(cloudOnly.GetPath().empty() && cloudOnly.GetPreviewsSet().empty());
        EXPECT_EQ(cloudOnly.GetMd5Hash() + cloudOnly.GetCloudHashBeforeChange(), "");
    }
}

// What is read shows in what is saved.
TEST_F(FilesManagerPersistenceTest, ValuesThatDoNotParseTakeTheirDefault)
{
    m_fileSystem->m_existing = {"/a.pdf"};
    const FakeStorage::Record defaults = {{"file_path", "/a.pdf"}, {"local_file_hash", "hash of /a.pdf"},
                                          {"file_hash", ""},       {"last_sync_file_hash", ""},
                                          {"file_name", ""},       {"is_private", "0"},
                                          {"download_url", ""},    {"created_at", ""},
                                          {"modified_time", ""},   {"lifetime_in_sec", "0"},
                                          {"cloud_size", "0"},     {"preview_path", ""}};
    const std::string huge(1 << 20, '9');
    const std::string date = "Sat Feb 29 12:34:56 2020 GMT";
    const std::vector<std::array<std::string, 3>> cases = {
        {"cloud_size", " \t+12 bytes", "12"},
        {"cloud_size", "18446744073709551615", "18446744073709551615"},
        {"cloud_size", "18446744073709551616", "0"},
        {"cloud_size", "-1", "18446744073709551615"},
        {"cloud_size", "many", "0"},
        {"cloud_size", "", "0"},
        {"cloud_size", huge, "0"},
        {"is_private", "2", "1"},
        {"is_private", "-1", "1"},
        {"is_private", "true", "0"},
        {"is_private", "4294967296", "0"},
        {"lifetime_in_sec", "3600", "3600"},
        {"lifetime_in_sec", " -5s", "-5"},
        {"lifetime_in_sec", "2147483648", "0"},
        {"lifetime_in_sec", "x", "0"},
        {"file_name", "n\u00e4me\0;'.pdf"_s, "n\u00e4me\0;'.pdf"_s},
        {"file_name", huge, huge},
        {"file_hash", "h\0sh"_s, "h\0sh"_s},
        {"last_sync_file_hash", "before", "before"},
        {"download_url", "https://h/a b?x=\u00e4", "https://h/a b?x=\u00e4"},
        {"created_at", date, date},
        {"created_at", "2020-02-29T12:34:56Z", ""},
        {"modified_time", date + "+0200", date + "+0200"},
        {"modified_time", "tomorrow", ""},
        {"modified_time", huge, ""},
        // Previews come in threes or not at all.
        {"preview_path", "a;b;c;", "a;b;c;"},
        {"preview_path", ";;a;;b;c", "a;b;c;"},
        {"preview_path", " ; ;\u00e9", " ; ;\u00e9;"},
        {"preview_path", "a\0z;b;c;"_s, "a;b;c;"},
        {"preview_path", "a;b;", ""},
        {"preview_path", "a;b;c;d;", ""},
        {"preview_path", ";;;", ""},
    };
    for (const auto& [key, stored, saved] : cases) {
        m_storage->m_records = {{"abc", {{"file_path", "/a.pdf"}, {key, stored}}}};
        Open();
        m_list.reset();
        auto expected = defaults;
        expected[key] = saved;
        EXPECT_TRUE(m_storage->m_records.at("abc") == expected) << key << " " << stored.substr(0, 40);
    }
}

TEST_F(FilesManagerPersistenceTest, SavesEveryValueInOrder)
{
    const QDateTime created({2020, 2, 29}, {12, 34, 56, 789}, Qt::UTC);
    FileInfo::CloudInfo cloud("1", "n\u00e4me.pdf", std::numeric_limits<unsigned long long>::max(), true,
                              QUrl("https://h/a%20b"_q), created, QDateTime(), -5, "cloud");
    cloud.SetPreviewPathBySize("/large"_s, PreviewSize::Large);
    cloud.SetPreviewPathBySize("/small"_s, PreviewSize::Small);
    const auto local = Add(std::make_shared<FileInfo>(cloud));
    local->SetPath("/./a.pdf"_s, "local", "before");
    Add(std::make_shared<FileInfo>(FileInfo::CloudInfo("2", "", 0, false, {}, {}, created, 0, "")));
    Add(DocumentWithoutCloudSide("no cloud side"));

    EXPECT_THAT(
        During([this] { m_list.reset(); }),
        ElementsAre("SetValue(2, file_hash, )", "SetValue(2, last_sync_file_hash, )",
                    "SetValue(2, file_name, )", "SetValue(2, is_private, 0)", "SetValue(2, download_url, )",
                    "SetValue(2, created_at, )", "SetValue(2, modified_time, Sat Feb 29 12:34:56 2020 GMT)",
                    "SetValue(2, lifetime_in_sec, 0)", "SetValue(2, cloud_size, 0)",
                    "SetValue(2, preview_path, )", //
                    "SetValue(1, file_path, /./a.pdf)", "SetValue(1, local_file_hash, local)",
                    "SetValue(1, file_hash, cloud)", "SetValue(1, last_sync_file_hash, before)",
                    "SetValue(1, file_name, n\u00e4me.pdf)", "SetValue(1, is_private, 1)",
                    "SetValue(1, download_url, https://h/a b)",
                    "SetValue(1, created_at, Sat Feb 29 12:34:56 2020 GMT)", "SetValue(1, modified_time, )",
                    "SetValue(1, lifetime_in_sec, -5)", "SetValue(1, cloud_size, 18446744073709551615)",
                    "SetValue(1, preview_path, /small;/large;)"));
}

TEST_F(FilesManagerPersistenceTest, RemovedRecordsAreDeletedFirstInAscendingOrder)
{
    for (const std::string id : {"b", "c", "a", "back again"}) {
        const auto document = Add(id);
        m_list->Remove(document);
    }
    Add("back again");
    const auto events = During([this] { m_list.reset(); });
    ASSERT_EQ(events.size(), 13U);
    EXPECT_EQ(Events(events.begin(), events.begin() + 4),
              (Events{"RemoveRecord(a)", "RemoveRecord(b)", "RemoveRecord(c)",
                      "SetValue(back again, file_hash, cloud hash)"}));
}

// Single values are never deleted, so the front one's local path stays below the values of the back one.
TEST_F(FilesManagerPersistenceTest, DocumentsOfOneIdAreWrittenOverEachOther)
{
    Add(CloudDocument("abc", "back.pdf"));
    Add(CloudDocument("abc", "front.pdf"))->SetPath("/front.pdf"_s, "front");
    m_list.reset();
    const auto& stored = m_storage->m_records.at("abc");
    EXPECT_EQ(stored.at("file_name"), "back.pdf");
    EXPECT_EQ(stored.at("file_path"), "/front.pdf");
    Open();
    EXPECT_EQ(m_list->FilesCount(), 1);
}

// Run under several languages and time zones, see cloud.cmake.
class StoredDatesTest : public FilesManagerPersistenceTest
{
protected:
    /// How the date is stored, and what is restored of it.
    std::pair<std::string, QDateTime> ThroughTheStorage(const QDateTime& date)
    {
        m_storage->m_records.clear();
        Open();
        Add(std::make_shared<FileInfo>(FileInfo::CloudInfo("abc", "", 0, false, {}, date, date, 0, "")));
        m_list.reset();
        const auto stored = m_storage->m_records.at("abc");
        Open();
        const auto restored = *Stored("abc").GetCloudInfo();
        EXPECT_EQ(stored.at("created_at"), stored.at("modified_time"));
        EXPECT_EQ(restored.GetCreatedAt(), restored.GetModifyTime());
        return {stored.at("created_at"), restored.GetCreatedAt()};
    }
};

TEST_F(StoredDatesTest, TextIsEnglishInEveryLanguage)
{
    const QDate day(2021, 3, 1);
    const QTime time(5, 6, 7, 89);
    const std::vector<std::pair<QDateTime, std::string>> cases = {
        {QDateTime(day, time, Qt::UTC), "Mon Mar 1 05:06:07 2021 GMT"},
        {QDateTime(day, time, Qt::OffsetFromUTC, -12600), "Mon Mar 1 05:06:07 2021 GMT-0330"},
        {QDateTime(day, time, Qt::LocalTime), "Mon Mar 1 05:06:07 2021"},
        {QDateTime(day, time, QTimeZone("Asia/Tokyo")), "Mon Mar 1 05:06:07 2021 GMT+0900"},
        {QDateTime({7, 12, 31}, time, Qt::UTC), "Mon Dec 31 05:06:07 7 GMT"},
        {QDateTime(), ""},
    };
    for (const auto& [date, text] : cases)
        EXPECT_EQ(ThroughTheStorage(date).first, text);
}

TEST_F(StoredDatesTest, EveryMonthAndTimeSpecComesBackToTheSecond)
{
    for (int month = 1; month <= 12; ++month) {
        const QDate day(2019 + month % 2, month, 28);
        const QTime time(23, 59, 58, 999);
        for (const auto& date : {QDateTime(day, time, Qt::LocalTime), QDateTime(day, time, Qt::UTC),
                                 QDateTime(day, time, Qt::OffsetFromUTC, 20700),
                                 QDateTime(day, time, QTimeZone("America/St_Johns"))}) {
            const auto restored = ThroughTheStorage(date).second;
            EXPECT_EQ(restored, date.addMSecs(-999)) << date.toString(Qt::ISODate).toStdString();
            EXPECT_EQ(restored.offsetFromUtc(), date.offsetFromUtc());
            if (date.timeSpec() != Qt::TimeZone) {
                EXPECT_EQ(restored.timeSpec(), date.timeSpec());
            }
        }
    }
}

} // namespace
