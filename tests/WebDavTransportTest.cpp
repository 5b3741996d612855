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

} // namespace
} // namespace Orvane::Social
