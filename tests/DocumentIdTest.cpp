#include <OrvaneCloudProtocol/DocumentId.h>
#include <support/NumberedName.h>

#include <gtest/gtest.h>

#include <tuple>

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
        {"\xF0\x80\x80\x80.pdf", "%F0%80%80%80.pdf"},
        {"\xF4\x8F\xBF\xBF\xF4\x90\x80\x80.pdf", "\xF4\x8F\xBF\xBF%F4%90%80%80.pdf"},
        {"\x80\x80\x80\x80\xF5\x80\x80\x80.pdf", "%80%80%80%80%F5%80%80%80.pdf"},
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
    for (const char* id :
         {"", "..", "notes.txt", ".hidden.pdf", "../a.pdf", "..%2Fa.pdf", "a%00.pdf", "a;b.pdf", "a\\b.pdf",
          "a%3bb.pdf", "100%.pdf", "%C3%A9.pdf", "a\n.pdf", "\xC2\x80.pdf"})
        EXPECT_FALSE(IsDocumentId(QString::fromUtf8(id)) || DocumentNameOf(QString::fromUtf8(id))) << id;
    EXPECT_FALSE(DocumentNameOf(QChar(0xD800) + QStringLiteral("a.pdf")));
}

TEST(DocumentId, BelongsToVisiblePdfFilesOnly)
{
    for (const char* name : {"a.pdf", "a.pDf", " .pdf", "a..pdf"})
        EXPECT_TRUE(IsDocumentName(name)) << name;
    for (const char* name : {"", ".pdf", "pdf", "a.pd", "a.pdf ", ".a.pdf", "a/b.pdf"})
        EXPECT_FALSE(IsDocumentName(name)) << name;
}

TEST(NumberedName, IsCutBetweenCharactersToWhatAFileSystemTakes)
{
    const std::string a240(240, 'a'), tail(31, 'x');
    const std::tuple<std::string, int, std::string> cases[] = {
        {"a.b.pdf", 1, "a.b.pdf"},
        {"a.b.pdf", 2, "a.b (2).pdf"},
        {".pdf", 10'000, ".pdf (10000)"},
        {"none", 2, "none (2)"},
        {"a." + tail, 2, "a (2)." + tail},
        {"a.x" + tail, 2, "a.x" + tail + " (2)"},
        {a240 + "1234567.pdf", 2, a240 + "1234567 (2).pdf"},
        {a240 + "12345678.pdf", 2, a240 + "1234567 (2).pdf"},
        {a240 + "12345678.pdf", 10, a240 + "123456 (10).pdf"},
        {a240 + "123456\xC3\xA9.pdf", 2, a240 + "123456 (2).pdf"},
        {a240 + "1234\xF0\x9F\x98\x80.pdf", 2, a240 + "1234 (2).pdf"},
        {a240 + "12\x80\x80\x80\x80\x80\x80.pdf", 2, a240 + "12\x80 (2).pdf"},
    };
    for (const auto& [name, number, expected] : cases)
        EXPECT_EQ(Support::NumberedName(name, number), expected);
}

TEST(ReadableName, IsTheNameUnlessThatIsNoSafeFileName)
{
    EXPECT_EQ(ReadableNameOf("50% off; \"now\"?.pdf"), QStringLiteral("50% off; \"now\"?.pdf"));
    EXPECT_EQ(ReadableNameOf("..\\up\r\n \xFF.pdf"), QStringLiteral("..%5Cup%0D%0A %FF.pdf"));
}

} // namespace
} // namespace Orvane::Social
