#include "SafeFileName.h"

namespace Orvane::CommandLine {

namespace {

constexpr int kLongestNameInBytes = 255;

#ifdef Q_OS_WIN
constexpr char kForbidden[] = "/\\:*?\"<>|";
#else
constexpr char kForbidden[] = "/\\";
#endif

bool IsForbidden(QChar character)
{
    return character.category() == QChar::Other_Control || QLatin1String(kForbidden).contains(character);
}

void ShortenTo(int bytes, QString& text)
{
    while (text.toUtf8().size() > bytes)
        text.chop(text.at(text.size() - 1).isLowSurrogate() ? 2 : 1);
}

QString Shortened(const QString& name)
{
    const int dot = name.lastIndexOf(QLatin1Char('.'));
    const bool isSuffixKept = dot > 0 && name.size() - dot <= 8;
    const QString suffix = isSuffixKept ? name.mid(dot) : QString();
    QString stem = isSuffixKept ? name.left(dot) : name;
    ShortenTo(kLongestNameInBytes - suffix.toUtf8().size(), stem);
    return stem + suffix;
}

} // namespace

QString ToSafeFileName(const QString& cloudName)
{
    QString name = cloudName;
    for (QChar& character : name) {
        if (IsForbidden(character))
            character = QLatin1Char('_');
    }
    if (name.isEmpty() || name.startsWith(QLatin1Char('.')))
        name.prepend(QLatin1Char('_'));
    return Shortened(name);
}

} // namespace Orvane::CommandLine
