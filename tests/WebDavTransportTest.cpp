#include "support/ScriptedCloud.h"

namespace Orvane::Social {
namespace {

using WebDavTransportTest = Tests::ScriptedCloud;

TEST_F(WebDavTransportTest, NoTextOfTheServerBecomesAHeaderOfOurs)
{
    constexpr int kCut = -50; // a download resumes then, with the tag that it was given
    const std::pair<const char*, Fault> wordsOfTheServer[] = {
        {"PROPFIND", {"<getetag>\"", "<getetag>\"&#13;&#10;Evil: 1&#13;&#10;"}},
        {"PROPFIND", Says("302\r\nLocation: /dav/old.pdf\rEvil: 1")},
        {"GET", {"ETag: \"", "ETag: \"\rEvil: 1\r", true, true, kCut, Tests::ScriptedServer::Closes}},
        {"GET", Says("302\r\nLocation: /dav/old.pdf?\rEvil: 1")},
    };
    server.honoursIf = true;
    for (const auto& [method, words] : wordsOfTheServer) {
        server.faults.clear();
        for (const char* name : {"old.pdf", "old%0D%0AEvil%3A%201.pdf"})
            server.documents[name] = QByteArray(100, 'x');
        OpenKnowing({true, true, true, true, true, true, true, true});
        SetFault(words, method, *method == 'G' ? 1 : 1'000);
        Outcome([this] { return std::to_string(cloud->List(job).size()); });
        for (const auto& id : {kOld, QStringLiteral("old%0D%0AEvil%3A 1.pdf")}) {
            Fetch(id);
            Store(id);
            Remove(id);
        }
        EXPECT_FALSE(server.heard.replace('\r', '\n').contains("\nEvil: 1")) << words.to.data();
    }
}

TEST_F(WebDavTransportTest, ADocumentIsFetchedInTheSizeThatIsExpected)
{
    const QByteArray longer = "somebody has made it longer";
    server.documents["old.pdf"] = longer;
    EXPECT_EQ(Fetch(kOld, 3), Code(FailureCode::Conflict));
    EXPECT_EQ(Heard("GET"), 1) << "it was not asked for again";
    Open();
    EXPECT_EQ(Fetch(kOld, 3), Code(FailureCode::Conflict));
    EXPECT_EQ(Heard("GET"), 1);
    EXPECT_EQ(Fetch(kOld, longer.size()), longer.toStdString());
    server.documents["old.pdf"] = longer + longer;
    EXPECT_EQ(Fetch(), (longer + longer).toStdString()) << "it was listed with another size, but has changed";
    SetFault({"<getcontentlength>", "<getcontentlength>-"}, "PROPFIND", 1'000);
    SetFault({"Content-Length", "X-Length", true, true, 1 << 30, Tests::ScriptedServer::Closes}, "GET",
             1'000);
    Open();
    EXPECT_EQ(Fetch(), (longer + longer).toStdString()) << "no size is known";
}

} // namespace
} // namespace Orvane::Social
