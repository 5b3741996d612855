#include "support/FilesManagerFixture.h"

#include <QTimeZone>

#include <array>
#include <stdexcept>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using testing::ElementsAre;

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
    const FakeStorage::Record values = {{"last_sync_file_hash", "before"}, {"preview_path", "/p1;/p2;/p3;"}};
    m_storage->m_records = {{"gone", values}, {"here", values}};
    m_storage->m_records["gone"]["file_path"] = "/gone/./a.pdf";
    m_storage->m_records["here"]["file_path"] = "/here/./a.pdf";
    Open();
    EXPECT_EQ(Stored("here").GetPath().utf8string(), "/here/a.pdf");
    EXPECT_EQ(Stored("here").GetMd5Hash(), "hash of /here/a.pdf");
    EXPECT_EQ(Stored("here").GetCloudHashBeforeChange(), "before");
    const auto gone = Stored("gone");
    EXPECT_TRUE(gone.GetPath().empty() && gone.GetPreviewsSet().empty());
    EXPECT_EQ(gone.GetMd5Hash() + gone.GetCloudHashBeforeChange(), "");
}

// What is read shows in what is saved.
TEST_F(FilesManagerPersistenceTest, ValuesThatDoNotParseTakeTheirDefault)
{
    m_fileSystem->m_existing = {"/a.pdf"};
    const std::string huge(1 << 20, '9');
    const std::string date = "Sat Feb 29 12:34:56 2020 GMT";
    const std::vector<std::array<std::string, 3>> cases = {
        {"cloud_size", " \t+12 bytes", "12"},
        {"cloud_size", "18446744073709551616", "0"},
        {"cloud_size", "many", "0"},
        {"cloud_size", huge, "0"},
        {"is_private", "-1", "1"},
        {"is_private", "true", "0"},
        {"lifetime_in_sec", " -5s", "-5"},
        {"lifetime_in_sec", "2147483648", "0"},
        {"file_name", "n\u00e4me\0;'.pdf"_s, "n\u00e4me\0;'.pdf"_s},
        {"file_hash", "h\0sh"_s, "h\0sh"_s},
        {"last_sync_file_hash", "before", "before"},
        {"download_url", "https://h/a b?x=\u00e4", "https://h/a b?x=\u00e4"},
        {"created_at", date + "+0200", date + "+0200"},
        {"created_at", "2020-02-29T12:34:56Z", ""},
        {"modified_time", date, date},
        {"modified_time", huge, ""},
        // Previews come in threes or not at all.
        {"preview_path", ";;a;; \u00e9;c", "a; \u00e9;c;"},
        {"preview_path", "a\0b;\xff;c"_s, "a;\ufffd;c;"},
        {"preview_path", "a;b;", ""},
        {"preview_path", "a;b;c;d;", ""},
    };
    for (const auto& [key, stored, saved] : cases) {
        m_storage->m_records = {{"abc", {{"file_path", "/a.pdf"}, {key, stored}}}};
        Open();
        m_list.reset();
        EXPECT_EQ(m_storage->m_records.at("abc").at(key), saved) << key;
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
    Add(DocumentWithoutCloudSide("no cloud side"));

    EXPECT_THAT(During([this] { m_list.reset(); }),
                ElementsAre("SetValue(1, file_path, /./a.pdf)", "SetValue(1, local_file_hash, local)",
                            "SetValue(1, file_hash, cloud)", "SetValue(1, last_sync_file_hash, before)",
                            "SetValue(1, file_name, n\u00e4me.pdf)", "SetValue(1, is_private, 1)",
                            "SetValue(1, download_url, https://h/a b)",
                            "SetValue(1, created_at, Sat Feb 29 12:34:56 2020 GMT)",
                            "SetValue(1, modified_time, )", "SetValue(1, lifetime_in_sec, -5)",
                            "SetValue(1, cloud_size, 18446744073709551615)",
                            "SetValue(1, preview_path, /small;/large;)"));
}

TEST_F(FilesManagerPersistenceTest, SavingDeletesFirstWhatWasRemovedAndNotPutBack)
{
    for (const std::string id : {"c", "a", "b"})
        m_list->Remove(Add(id));
    Add("b");
    const auto events = During([this] { m_list.reset(); });
    ASSERT_EQ(events.size(), 2U + 10U);
    EXPECT_EQ(events[0], "RemoveRecord(a)");
    EXPECT_EQ(events[1], "RemoveRecord(c)");
}

struct FullStorage : FakeStorage
{
    using FakeStorage::FakeStorage;
    void SetValue(const std::string&, const std::string&, const std::string&) override
    {
        throw std::runtime_error("it is full");
    }
};

TEST_F(FilesManagerPersistenceTest, AStorageThatFailsAtTheEndIsLoggedAndEndsNothing)
{
    m_storage = std::make_shared<FullStorage>(m_journal);
    Open();
    Add("abc");
    EXPECT_THAT(During([this] { m_list.reset(); }),
                ElementsAre("ERROR: Cannot save the document list: it is full"));
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
        Open();
        return {m_storage->m_records.at("abc").at("created_at"),
                Stored("abc").GetCloudInfo()->GetCreatedAt()};
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
    };
    for (const auto& [date, text] : cases)
        EXPECT_EQ(ThroughTheStorage(date).first, text);
}

TEST_F(StoredDatesTest, TextsAreReadAsQtReadsThem)
{
    for (const std::string text :
         {"Sat Feb 29 12:34:56 2020 GMT", "Sun Feb 29 12:34:56 2021 GMT", "Sun Mar 28 02:30:00 2021",
          "Sun Oct 31 02:30:00 2021",     "Mon Mar 1 24:00:00 2021",      "Mon Mar 1 05:60:07 2021",
          "Mon Mar 01 05:06:07 0021",     "Mon Mar  1 05:06:07 2021",     "Mon Mar 1 5:06:07 2021",
          "Mon Mar 1 05:06 2021 GMT",     "Mon Mar 1 05:06:07 12021",     "Mon Mar 1 05:06:07 2021 GMT+0545",
          "Mon Mar 1 05:06:07 2021 gmt",  "Mon Mar 1 05:06:07 2021 GMT ", "Mon Mar 1 05:06:07 2021 UTC",
          "Mon 1. Mar 05:06:07 2021",     "Mon Mar 1 05:06:07.5 2021",    "Mon Mar 1",
          "Mon Mar 11 05:06:07 202;",     "Mon Mar 1 05:0607 2021"}) {
        m_storage->m_records = {{"abc", {{"created_at", text}}}};
        Open();
        const auto read = Stored("abc").GetCloudInfo()->GetCreatedAt();
        const auto expected = QDateTime::fromString(QString::fromStdString(text), Qt::TextDate);
        EXPECT_EQ(read, expected) << text;
        EXPECT_EQ(read.timeSpec(), expected.timeSpec()) << text;
    }
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
        }
    }
}

} // namespace
