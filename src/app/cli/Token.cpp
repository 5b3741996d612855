#include "Token.h"

#include <QFile>

#include <algorithm>

namespace Orvane::CommandLine {

namespace {

constexpr char kVariable[] = "ORVANE_CLOUD_TOKEN";
constexpr qint64 kLongestToken = 64 * 1024;

Problem NoToken(const QString& why)
{
    return {
        ExitCode::SignInNeeded, QStringLiteral("sign-in-needed"),
        QStringLiteral("There is no token to sign in with"), why,
        QStringLiteral("Give --token-file a file whose first line is the token, or put the token into the "
                       "environment variable ORVANE_CLOUD_TOKEN.")};
}

bool IsToken(const QByteArray& text)
{
    return !text.isEmpty() && text.size() < kLongestToken &&
           std::all_of(text.begin(), text.end(),
                       [](char character) { return character > ' ' && character < 0x7f; });
}

std::variant<QString, Problem> ReadToken(const QString& tokenFile)
{
    QFile file(tokenFile);
    if (!file.open(QIODevice::ReadOnly))
        return NoToken(QStringLiteral("the token file cannot be read (") + file.errorString() +
                       QLatin1Char(')'));
    const QByteArray token = file.readLine(kLongestToken).trimmed();
    if (!IsToken(token))
        return NoToken(QStringLiteral("the first line of the token file is not a token"));
    return QString::fromLatin1(token);
}

} // namespace

std::variant<QString, Problem> TakeToken(const QString& tokenFile)
{
    const QByteArray token = qgetenv(kVariable).trimmed();
    qunsetenv(kVariable);
    if (!tokenFile.isEmpty())
        return ReadToken(tokenFile);
    if (!token.isEmpty() && !IsToken(token))
        return NoToken(QStringLiteral("what ORVANE_CLOUD_TOKEN holds is not a token"));
    return QString::fromLatin1(token);
}

QString TokenFileWarning(const QString& tokenFile)
{
    const QFileDevice::Permissions others = QFileDevice::ReadGroup | QFileDevice::ReadOther;
    if (tokenFile.isEmpty() || !(QFile::permissions(tokenFile) & others))
        return {};
    return QStringLiteral("Others on this machine can read the token file. Protect it with: chmod 600 FILE");
}

Problem TokenMissing()
{
    return NoToken(QStringLiteral("this cloud wants one"));
}

} // namespace Orvane::CommandLine
