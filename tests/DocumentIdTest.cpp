#include <OrvaneCloudProtocol/DocumentId.h>

#include <gtest/gtest.h>

#include <set>

namespace Orvane::Social {
namespace {

/// An id goes through the rest of the system as UTF-8 and must then still be that of its document.
void ExpectGoodIdFor(const std::string& name)
{
    const QString id = DocumentIdOf(name);
    EXPECT_EQ(DocumentNameOf(QString::fromUtf8(id.toStdString().c_str())), name) << id.toStdString();
    EXPECT_TRUE(IsDocumentId(id)) << id.toStdString();
    for (const QChar character : id) {
        EXPECT_FALSE(QStringLiteral("/\\;:*?\"<>|").contains(character)) << id.toStdString();
        EXPECT_NE(character.category(), QChar::Other_Control) << id.toStdString();
    }
}

TEST(DocumentId, IsAsDocumentedAndExact)
{
    const std::pair<const char*, const char*> cases[] = {
        {"Größe 1.PDF", "Größe 1.PDF"},
        {"100%.pdf", "100%25.pdf"},
        {"a;b:c*d?e\"f<g>h|i\\j.pdf", "a%3Bb%3Ac%2Ad%3Fe%22f%3Cg%3Eh%7Ci%5Cj.pdf"},
        {"line\nbreak\x7F.pdf", "line%0Abreak%7F.pdf"},
        {"\xC2\x85.pdf", "%C2%85.pdf"},
        {"latin \xE9.pdf", "latin %E9.pdf"},
        {"\xED\xA0\x80.pdf", "%ED%A0%80.pdf"},
        {"\xC0\xAF.pdf", "%C0%AF.pdf"},
        {"cut \xF0\x9F\x98.pdf", "cut %F0%9F%98.pdf"},
        {"smile \xF0\x9F\x98\x80.pdf", "smile \xF0\x9F\x98\x80.pdf"},
    };
    for (const auto& [name, id] : cases) {
        EXPECT_EQ(DocumentIdOf(name), QString::fromUtf8(id));
        ExpectGoodIdFor(name);
    }
    for (int pair = 0; pair < 256 * 256; ++pair) {
        const std::string name{static_cast<char>(pair / 256), static_cast<char>(pair), '.', 'p', 'd', 'f'};
        if (IsDocumentName(name))
            ExpectGoodIdFor(name);
    }
}

TEST(DocumentId, IsRefusedWhenItIsNotTheOneOfItsName)
{
    for (const char* id : {"", "..", "notes.txt", ".hidden.pdf", "../a.pdf", "..%2Fa.pdf", "a%00.pdf",
                           "a;b.pdf", "a\\b.pdf", "a%3bb.pdf", "100%.pdf", "%C3%A9.pdf", "a\n.pdf"})
        EXPECT_FALSE(IsDocumentId(QString::fromUtf8(id)) || DocumentNameOf(QString::fromUtf8(id))) << id;
    EXPECT_FALSE(DocumentNameOf(QChar(0xD800) + QStringLiteral("a.pdf")));
}

TEST(ReadableName, IsTheNameUnlessThatIsNoSafeFileName)
{
    EXPECT_EQ(ReadableNameOf("50% off; \"now\"?.pdf"), QStringLiteral("50% off; \"now\"?.pdf"));
    EXPECT_EQ(ReadableNameOf("..\\up\r\n \xFF.pdf"), QStringLiteral("..%5Cup%0D%0A %FF.pdf"));
}

} // namespace
} // namespace Orvane::Social
