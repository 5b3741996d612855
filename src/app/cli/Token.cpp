#include "Token.h"

#include "PrintableText.h"

#include <support/Wiping.h>

#include <QFile>

#include <algorithm>
#include <cstdlib>
#include <cstring>

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
                       "environment variable ORVANE_CLOUD_TOKEN. Where it is a user's password, give --user "
                       "NAME as well.")};
}

bool IsVisibleAscii(const QString& text)
{
    return std::all_of(text.begin(), text.end(), [](QChar character) {
        return character > QLatin1Char(' ') && character < QLatin1Char('\x7f');
    });
}

bool HoldsControls(const QString& text)
{
    return std::any_of(text.begin(), text.end(),
                       [](QChar character) { return character.category() == QChar::Other_Control; });
}

/// The token in a line, which is wiped; empty when it holds none.
QString TokenIn(QByteArray& line, TokenKind kind)
{
    const Support::WipedAtEnd wipedLine(line);
    for (const char* end : {"\n", "\r"}) {
        if (line.endsWith(end))
            line.chop(1);
    }
    QString text = QString::fromUtf8(line);
    const Support::WipedAtEnd wipedText(text); // unless it is the token
    if (!IsUtf8(line) || line.size() >= kLongestToken)
        return {};
    if (kind == TokenKind::Password)
        return HoldsControls(text) ? QString() : text;
    QString trimmed = text.trimmed();
    const Support::WipedAtEnd wipedTrimmed(trimmed);
    return IsVisibleAscii(trimmed) ? trimmed : QString();
}

std::variant<QString, Problem> ReadToken(const QString& tokenFile, TokenKind kind)
{
    QFile file(tokenFile);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) // a buffer would keep the token
        return NoToken(QStringLiteral("the token file cannot be read (") + file.errorString() +
                       QLatin1Char(')'));
    QByteArray line = file.readLine(kLongestToken);
    const QString token = TokenIn(line, kind);
    if (token.isEmpty())
        return NoToken(QStringLiteral("the first line of the token file is not a token"));
    return token;
}

/// What the variable holds, which is then neither in the environment nor in the memory where that was: the
/// system shows this memory to the user's other programs.
QByteArray TakeVariable()
{
    char* const variable = std::getenv(kVariable);
    QByteArray value(variable);
    if (variable != nullptr)
        Support::Wipe(variable, std::strlen(variable));
    qunsetenv(kVariable);
    return value;
}

} // namespace

bool IsTokenGiven(const QString& tokenFile)
{
    return !tokenFile.isEmpty() || qEnvironmentVariableIsSet(kVariable);
}

std::variant<QString, Problem> TakeToken(const QString& tokenFile, TokenKind kind)
{
    QByteArray variable = TakeVariable();
    const Support::WipedAtEnd wiped(variable);
    if (!tokenFile.isEmpty())
        return ReadToken(tokenFile, kind);
    const bool isBlank = variable.trimmed().isEmpty();
    const QString token = TokenIn(variable, kind);
    if (token.isEmpty() && !isBlank)
        return NoToken(QStringLiteral("what ORVANE_CLOUD_TOKEN holds is not a token"));
    return token;
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
