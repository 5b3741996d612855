#include "PrintableText.h"

#include <QLocale>

namespace Orvane::CommandLine {

namespace {

constexpr ushort kZeroWidthNonJoiner = 0x200c;
constexpr ushort kZeroWidthJoiner = 0x200d;

bool IsHarmful(QChar character)
{
    // Ordinary writing needs these two (Persian, emoji), and they do nothing to a terminal.
    if (character.unicode() == kZeroWidthNonJoiner || character.unicode() == kZeroWidthJoiner)
        return false;
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

QString Escape(QChar character)
{
    switch (character.unicode()) {
    case '\n':
        return QStringLiteral("\\n");
    case '\r':
        return QStringLiteral("\\r");
    case '\t':
        return QStringLiteral("\\t");
    default:
        return QStringLiteral("\\u{%1}").arg(character.unicode(), 2, 16, QLatin1Char('0'));
    }
}

} // namespace

QString ToPrintable(const QString& text)
{
    QString printable;
    printable.reserve(text.size());
    for (const QChar character : text) {
        if (IsHarmful(character))
            printable += Escape(character);
        else
            printable += character;
    }
    return printable;
}

QByteArray ToPrintableJson(const QByteArray& json)
{
    QString printable;
    for (const QChar character : QString::fromUtf8(json)) {
        if (IsHarmful(character))
            printable += QStringLiteral("\\u%1").arg(character.unicode(), 4, 16, QLatin1Char('0'));
        else
            printable += character;
    }
    return printable.toUtf8();
}

bool IsUtf8(const QByteArray& bytes)
{
    return QString::fromUtf8(bytes).toUtf8() == bytes;
}

QString ToHumanSize(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeIecFormat);
}

} // namespace Orvane::CommandLine
