#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/http/EntityTag.h>
#include <OrvaneCloudProtocol/transports/http/NetworkError.h>
#include <OrvaneCloudProtocol/transports/http/RetryPolicy.h>
#include <OrvaneCloudProtocol/transports/webdav/DocumentVersion.h>
#include <OrvaneCloudProtocol/transports/webdav/Md5Note.h>
#include <OrvaneCloudProtocol/transports/webdav/MultiStatus.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavAddress.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavDate.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavQuota.h>

#include <gmock/gmock.h>

namespace Orvane::Social {
namespace {

using namespace testing;

const QByteArray kMd5 = "0123456789abcdef0123456789abcdef";

QByteArray Answer(const QByteArray& content)
{
    return "<multistatus xmlns='DAV:'><response>" + content + "</response></multistatus>";
}

QByteArray PropStat(const QByteArray& status, const QByteArray& properties)
{
    return "<propstat><status>HTTP/1.1 " + status + "</status><prop>" + properties + "</prop></propstat>";
}

std::vector<DavResource> Parsed(const QByteArray& text, int pieceSize = 1'000'000)
{
    MultiStatusReader reader;
    for (int at = 0; at < text.size(); at += pieceSize)
        reader.Add(text.data() + at, static_cast<std::size_t>(std::min(pieceSize, text.size() - at)));
    return reader.Finish();
}

TEST(WebDavAddress, IsAnOriginAndACollection)
{
    const std::tuple<const char*, QByteArray, bool> cases[] = {
        {"HTTPS://127.0.0.1.Example:0443/a//b%2fc", "https://127.0.0.1.example/a/b%2fc/", false},
        {"http://localhost:8080/d\xC3\xA9/", "http://localhost:8080/d%C3%A9/", true},
        {"http://127.8.9.255:80", "http://127.8.9.255/", true},
        {"http://127.0.028.1", "http://127.0.028.1/", false},
        {"http://127.0.0.256:8", "http://127.0.0.256:8/", false},
        {"http://localhost.example", "http://localhost.example/", false},
        {"http://[::1]:443/a@b:c;d=%25/...", "http://[::1]:443/a@b:c;d=%25/.../", true},
    };
    for (const auto& [text, collection, isLoopback] : cases) {
        const auto address = WebDavAddress::Parse(text).value();
        EXPECT_EQ(address.Origin() + address.PathOf("a/#\xFF"), collection + "a%2F%23%FF");
        EXPECT_EQ(address.IsLoopback(), isLoopback) << text;
    }
    const QByteArray refused = "|/a|me@h|a:b@h/|h/?a|h/#a|h/a/..|h/%2E%2e/a|h/./|h/a%2f..%2fb|h/a b|h/%|"
                               "h/%4|h/%00|h:0/|h:65536|h:99999999999|a..b|[::1|h\xC3\xA9|ho%73t/|h\\a|h/a\n";
    for (const QByteArray& text : refused.split('|'))
        EXPECT_FALSE(WebDavAddress::Parse("http://" + text.toStdString())) << text.data();
    EXPECT_FALSE(WebDavAddress::Parse("ftp://h/") || WebDavAddress::Parse("h") || WebDavAddress::Parse(""));
}

TEST(Href, IsPlacedByItsDecodedParts)
{
    using Place = HrefMeaning::Place;
    const std::tuple<const char*, const char*, Place, const char*, const char*> cases[] = {
        {"/d%c3%a9/my/", "/d\xC3\xA9/my", Place::Collection, "", ""},
        {"/", "https://host", Place::Collection, "", "host"},
        {"/dav/", "HTTP://me@Host:80//%64av//..%2F\xFF%ff%2541%/", Place::Member, "../\xFF\xFF%41%", "host"},
        {"/dav/", "https://[::1]:80/dav/a?b#c", Place::Member, "a?b#c", "[::1]:80"},
    };
    for (const auto& [collection, href, place, name, authority] : cases) {
        const HrefMeaning found = MeaningOf(href, collection);
        EXPECT_EQ(std::tie(found.place, found.memberName, found.authority), std::tie(place, name, authority));
    }
    const QByteArray elsewhere = "|a|d/a|/|/d|/d/my/a/b|/d%2Fmy/a|/D/my/a|/d/mya|http://d/my/a";
    for (const QByteArray& href : elsewhere.split('|'))
        EXPECT_EQ(MeaningOf(href, "/d/my/").place, Place::Elsewhere) << href.data();
}

TEST(WebDavDate, IsReadInEveryForm)
{
    const std::pair<const char*, QByteArray> cases[] = {
        {"1994-11-06T08:49:37.000Z", "Sun, 06 Nov 1994 08:49:37 GMT|Sunday, 06-Nov-94 08:49:37 GMT"},
        {"1994-11-06T08:49:37.000Z", " Sun Nov  6 08:49:37 1994\n|1994-11-06T08:49:37Z|1994-11-06T08:49:37"},
        {"2024-03-01T01:29:59.500Z", "2024-02-29T23:59:59.5-01:30|2024-03-01T01:29:59,500999999+00:00"},
        {"2024-03-01T12:00:00.000Z",
         "2024-03-01 17:30:00+0530|2024-03-01t14:00:00+02|Fri Mar 1 12:00:00 2024"},
        {"1970-12-31T23:00:00.000Z", "Thursday, 31-Dec-70 23:00:00 UTC|31 Dec 1970 23:00:00"},
        {"2069-12-31T23:00:00.000Z", "Tuesday, 31-Dec-69 23:00:00 GMT"},
        {"", "|yesterday|2024-02-29T24:00:00Z|2024-02-29T00:00:00Z!|Sun, 06 Nov 1994 08:49:37 EST"},
        {"",
         "Sun, 06 Nov 1994 8:49:37 GMT|1994-11-06T008:49:37Z|1994-1-06T08:49:37Z|06 Non 1994 08:49:37 GMT"},
        {"", "1994-11-06T08.49:37Z|1994/11-06T08:49:37Z|1994-11-06X08:49:37Z|Sun Nov  6 08:49:37 94|29 Feb "
             "2023 0:0:0"},
    };
    for (const auto& [moment, texts] : cases)
        for (const QByteArray& text : texts.split('|'))
            EXPECT_EQ(WebDavDateOf(text).toString(Qt::ISODateWithMs).toStdString(), moment) << text.data();
}

TEST(EntityTag, IsQuotedVisibleText)
{
    for (const char* tag : {"\"\"", "\"!~\xFF/W\"", "W/\"1\""})
        EXPECT_TRUE(IsEntityTag(tag)) << tag;
    for (const char* text : {"", "\"", "W/", "W/\"", "1", "\"1", "1\"", "w/\"1\"", "W/ \"1\"", "\"1\" ",
                             "\"a b\"", "\"a\"b\"", "\"a\tb\"", "\"a\r\nb\"", "\"\x7f\"", "\"a\",\"b\""})
        EXPECT_FALSE(IsEntityTag(text)) << text;
}

TEST(Md5Note, CountsForItsOwnSizeAndTagOnly)
{
    const QByteArray tag = "\"a b<&\xFF\"", note = Md5NoteOf(kMd5.toUpper(), 7, tag);
    EXPECT_EQ(Md5InNote(' ' + note, 7, tag), kMd5);
    EXPECT_EQ(Md5InNote(note, 8, tag) + Md5InNote(note, 7, "\"b\"") + Md5InNote(kMd5, 7, tag), "");
    EXPECT_EQ(Md5InNote(kMd5 + " 7 ", 7, "") + Md5NoteOf(kMd5, 7, "") + Md5NoteOf("0123", 7, tag), "");
}

TEST(DocumentVersion, IsKnownByItsTagAndElseBySizeAndTime)
{
    const QDateTime noon({2024, 1, 2}, {12, 0}, Qt::UTC), later = noon.addSecs(1);
    const DocumentVersion strong{7, "\"1\"", false, noon, {}}, weak{7, "\"1\"", true, later, {}},
        other{7, "\"2\"", false, noon, {}}, bare{7, {}, true, noon, {}}, larger{8, {}, false, noon, {}},
        newer{7, {}, false, later, {}};
    EXPECT_TRUE(strong.IsSameAs(weak) && strong.IsSameAs(bare) && bare.IsSameAs(bare));
    EXPECT_FALSE(strong.IsSameAs(other) || weak.IsSameAs(bare) || bare.IsSameAs(larger) ||
                 bare.IsSameAs(newer));
    EXPECT_FALSE(bare.HasTagOf(bare) || strong.HasTagOf(other) || bare.HasTagOf(strong));
    EXPECT_EQ(strong.StrongEntityTag() + weak.StrongEntityTag() + bare.StrongEntityTag(), "\"1\"");
    EXPECT_EQ(strong.TagForConditions() + weak.TagForConditions(), "\"1\"W/\"1\"");
    EXPECT_EQ(bare.TagForConditions(), QByteArray());
    EXPECT_EQ(strong.Text(), QStringLiteral("\"1\""));
    EXPECT_NE(bare.Text(), larger.Text());
    EXPECT_NE(bare.Text(), newer.Text());
}

TEST(Quota, IsWithinWhatTheReceiverKeepsAndFullIsNotUnlimited)
{
    constexpr qint64 kMost = 0x7FFFFFFF, kKiB = 1024, kHuge = std::numeric_limits<qint64>::max();
    const std::tuple<qint64, std::optional<qint64>, qint64, qint64> cases[] = {
        // used, available in bytes; used, allowed in KiB
        {10 * kKiB, {}, 10, 0},
        {10 * kKiB, -1, 10, 0},
        {10 * kKiB, -2, 10, 0},
        {10 * kKiB, -3, 10, 0},
        {10 * kKiB, 0, 10, 10},
        {0, 0, 0, 1},
        {1023, 1024, 0, 1},
        {3 * kKiB, 5 * kKiB + 1023, 3, 8},
        {(kMost - 1) * kKiB, kKiB, kMost - 1, kMost},
        {kHuge, kHuge, kMost, kMost}};
    for (const auto& [used, available, usedInKiB, allowedInKiB] : cases)
        EXPECT_EQ(QuotaFrom(used, available), (Transport::QuotaValue{usedInKiB, allowedInKiB})) << used;
}

TEST(Status, SaysWhatHasFailedAndWhetherToAskAgain)
{
    using Code = FailureCode;
    const std::tuple<Code, bool, std::vector<int>> cases[] = {
        {Code::SignInNeeded, false, {401}},
        {Code::Refused, false, {402, 403, 405, 413, 414, 423, 451}},
        {Code::NotFound, false, {404, 410}},
        {Code::Network, false, {407}},
        {Code::Conflict, false, {409, 412, 424}},
        {Code::TimedOut, false, {408}},
        {Code::TimedOut, true, {504}},
        {Code::Unavailable, true, {429, 500, 502, 503}},
        {Code::QuotaExceeded, false, {507}},
        {Code::Protocol, false, {0, 200, 301, 400, 501}}};
    for (const auto& [code, isPassing, statuses] : cases) {
        for (const int status : statuses) {
            EXPECT_EQ(FailureCodeOfStatus(status), code) << status;
            EXPECT_EQ(IsPassing(status), isPassing) << status;
        }
    }
}

TEST(MultiStatus, MergesWhatIsReportedAsFound)
{
    const QByteArray properties =
        "<resourcetype><collection/></resourcetype><creationdate>2024-01-02T03:04:05Z</creationdate>"
        "<getcontentlength xmlns='D'>8</getcontentlength><checksums xmlns='http://owncloud.org/ns'>"
        "<checksum>A:1 md5:0123456789ABCDEF0123456789abcdef</checksum><checksum>SHA1:1 MD5:2</checksum>"
        "</checksums><content-md5 xmlns='https://orvane.example/ns/cloud'>note</content-md5>";
    const DavResource found =
        Parsed(Answer("<href> /a&amp;<![CDATA[b]]><!-- c -->%FF\n</href>" + PropStat("200", properties) +
                      PropStat("200 OK", "<getetag>W/\"1\"</getetag>") +
                      PropStat("404 No", "<getetag/><getcontentlength>9</getcontentlength>")))[0];
    EXPECT_EQ(found.href + found.entityTag, "/a&b%FF\"1\"");
    EXPECT_EQ(found.serverMd5 + found.md5Note, kMd5 + "note");
    EXPECT_TRUE(found.isEntityTagWeak && found.isCollection && found.createdAt.isValid() && !found.size);
    EXPECT_EQ(Parsed(Answer("<status>HTTP/1.1 423 Locked</status>")).at(0).status, 423);
}

TEST(MultiStatus, KnowsANumberFromNonsense)
{
    const std::pair<const char*, std::optional<qint64>> cases[] = {
        {" 8589934592\n", 8589934592}, {"-3", -3}, {"", {}}, {"9223372036854775808", {}}, {"1.5", {}}};
    for (const auto& [text, number] : cases) {
        QByteArray found = "<getcontentlength>@</getcontentlength><quota-used-bytes>@</quota-used-bytes>";
        const DavResource resource = Parsed(Answer(PropStat("200", found.replace('@', text)))).at(0);
        EXPECT_EQ(resource.quotaUsed, number) << text;
        EXPECT_EQ(resource.size, number == -3 ? std::nullopt : number) << text;
    }
}

TEST(MultiStatus, IsReadInPiecesOfAnySizeAndOnlyWhenWhole)
{
    const QByteArray one = "<href>/d\xC3\xA9&#233;</href>", gap(40'000, '\n');
    const QByteArray next = "</response><response>" + one;
    const QByteArray many = Answer(one + next.repeated(9'999)) + gap + "<!-- end -->" + gap;
    const auto isRight = Each(Field(&DavResource::href, "/d\xC3\xA9\xC3\xA9"));
    for (const int pieceSize : {1, 10'007, 10'000'000})
        EXPECT_THAT(Parsed(many, pieceSize), AllOf(SizeIs(10'000), isRight));
    for (int length = 0; length < Answer(one).size(); ++length)
        EXPECT_THROW(Parsed(Answer(one).left(length)), CloudError) << length;
}

TEST(MultiStatus, IsRefusedWhenItIsNoneOrAbsurd)
{
    const QByteArray empty = Answer({}), a(66'000, 'a'), bomb = "<!DOCTYPE b [<!ENTITY b \"bomb\">]>";
    for (const QByteArray& text :
         {QByteArray("<html/>"), QByteArray("<multistatus/>"), "<a" + empty.mid(12), empty + empty,
          empty + "a", empty + "<!-- ", bomb + Answer("&b;"), Answer("\x01"), Answer("\xFF"), Answer(a),
          Answer("<!--" + a + a + a + "-->"), Answer(QByteArray("</response><response>").repeated(1'000'000)),
          Answer(QByteArray("<a>").repeated(63) + QByteArray("</a>").repeated(63))})
        EXPECT_THROW(Parsed(text), CloudError) << text.left(200).data();
}

} // namespace
} // namespace Orvane::Social
