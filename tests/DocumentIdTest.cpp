#include <OrvaneCloudProtocol/DocumentId.h>

#include <QRandomGenerator>

#include <gtest/gtest.h>

#include <set>

namespace Orvane::Social {
namespace {

using namespace std::string_literals;

/// The way of an id through the rest of the system: as UTF-8 in records, and back to the client.
QString AfterStorage(const QString& id)
{
    return QString::fromUtf8(id.toStdString().c_str());
}

void ExpectGoodIdFor(const std::string& name)
{
    const QString id = DocumentIdOf(name);
    const auto back = DocumentNameOf(AfterStorage(id));
    ASSERT_TRUE(back) << id.toStdString();
    EXPECT_EQ(*back, name);
    for (const QChar character : id) {
        EXPECT_FALSE(QStringLiteral("/\\;:*?\"<>|").contains(character)) << id.toStdString();
        EXPECT_NE(character.category(), QChar::Other_Control) << id.toStdString();
    }
}

TEST(DocumentId, IsAsDocumented)
{
    const std::pair<std::string, QString> cases[] = {
        {"report.pdf", QStringLiteral("report.pdf")},
        {"Größe 1.PDF", QStringLiteral("Größe 1.PDF")},
        {"100%.pdf", QStringLiteral("100%25.pdf")},
        {"a;b:c*d?e\"f<g>h|i\\j.pdf", QStringLiteral("a%3Bb%3Ac%2Ad%3Fe%22f%3Cg%3Eh%7Ci%5Cj.pdf")},
        {"line\nbreak\x7F.pdf", QStringLiteral("line%0Abreak%7F.pdf")},
        {"\xC2\x85.pdf", QStringLiteral("%C2%85.pdf")},
        {"latin \xE9.pdf", QStringLiteral("latin %E9.pdf")},
        {"\xEF\xBB\xBF"s + "mark.pdf", QStringLiteral("%EF%BB%BFmark.pdf")},
        {"\xED\xA0\x80.pdf", QStringLiteral("%ED%A0%80.pdf")},
        {"\xC0\xAF.pdf", QStringLiteral("%C0%AF.pdf")},
        {"\xF4\x90\x80\x80.pdf", QStringLiteral("%F4%90%80%80.pdf")},
        {"cut \xF0\x9F\x98.pdf", QStringLiteral("cut %F0%9F%98.pdf")},
        {"smile \xF0\x9F\x98\x80.pdf", QString::fromUtf8("smile \xF0\x9F\x98\x80.pdf")},
    };
    for (const auto& [name, id] : cases) {
        EXPECT_EQ(DocumentIdOf(name), id);
        ExpectGoodIdFor(name);
    }
}

TEST(DocumentId, KeepsComposedAndDecomposedNamesApart)
{
    EXPECT_NE(DocumentIdOf("\xC3\xA9.pdf"), DocumentIdOf("e\xCC\x81.pdf"));
    ExpectGoodIdFor("e\xCC\x81.pdf");
}

TEST(DocumentId, IsExactForEveryPairOfBytes)
{
    std::set<QString> ids;
    for (int first = 1; first < 256; ++first) {
        for (int second = 1; second < 256; ++second) {
            const std::string name{static_cast<char>(first), static_cast<char>(second), '.', 'p', 'd', 'f'};
            if (IsDocumentName(name)) {
                ExpectGoodIdFor(name);
                EXPECT_TRUE(ids.insert(DocumentIdOf(name)).second);
            }
        }
    }
    EXPECT_GT(ids.size(), 60'000U);
}

TEST(DocumentId, IsExactForRandomBytes)
{
    QRandomGenerator random(20231122);
    for (int round = 0; round < 20'000; ++round) {
        std::string name = "n";
        const auto length = random.bounded(1, 12);
        for (int index = 0; index < length; ++index) {
            const auto byte = static_cast<char>(random.bounded(index % 2 == 0 ? 0x80 : 1, 256));
            name += byte == '/' ? 'x' : byte;
        }
        ExpectGoodIdFor(name + ".pdf");
    }
}

TEST(DocumentId, IsRefusedWhenItIsNotTheOneOfItsName)
{
    const QString cases[] = {
        {},
        QStringLiteral("."),
        QStringLiteral(".."),
        QStringLiteral("/"),
        QStringLiteral("notes.txt"),
        QStringLiteral(".pdf"),
        QStringLiteral(".hidden.pdf"),
        QStringLiteral("folder/a.pdf"),
        QStringLiteral("../a.pdf"),
        QStringLiteral("a.pdf/"),
        QStringLiteral("..%2Fa.pdf"),
        QStringLiteral("%2E%2E%2Fa.pdf"),
        QStringLiteral("%2e%2e%2fa.pdf"),
        QStringLiteral("a%2Fb.pdf"),
        QStringLiteral("a%00.pdf"),
        QStringLiteral("a;b.pdf"),
        QStringLiteral("a\\b.pdf"),
        QStringLiteral("a%3bb.pdf"),
        QStringLiteral("%61.pdf"),
        QStringLiteral("100%.pdf"),
        QStringLiteral("%C3%A9.pdf"),
        QStringLiteral("a\n.pdf"),
        QString(QStringLiteral("a")) + QChar(u'\0') + QStringLiteral(".pdf"),
        QString(QChar(0xD800)) + QStringLiteral(".pdf"),
    };
    for (const auto& id : cases)
        EXPECT_FALSE(DocumentNameOf(id)) << id.toStdString();
}

TEST(ReadableName, IsTheNameUnlessThatIsNoSafeFileName)
{
    EXPECT_EQ(ReadableNameOf("50% off; \"now\"?.pdf"), QStringLiteral("50% off; \"now\"?.pdf"));
    EXPECT_EQ(ReadableNameOf("..\\up.pdf"), QStringLiteral("..%5Cup.pdf"));
    EXPECT_EQ(ReadableNameOf("a\r\nb \xFF.pdf"), QStringLiteral("a%0D%0Ab %FF.pdf"));
}

} // namespace
} // namespace Orvane::Social
