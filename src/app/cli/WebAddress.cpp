#include "WebAddress.h"

#include <QRegularExpression>
#include <QUrl>

namespace Orvane::CommandLine {

namespace {

constexpr int kUsualPort = 80;
constexpr int kUsualEncryptedPort = 443;

/// "//name:secret@host" in an address of any kind.
bool HoldsCredentials(const QString& cloud)
{
    static const QRegularExpression kPattern(QStringLiteral("^[^/]*://[^/?#]*@"));
    return kPattern.match(cloud).hasMatch();
}

bool IsUnderstood(const QUrl& url)
{
    return url.isValid() && !url.host().isEmpty() && url.port() != 0 && !url.hasQuery() && !url.hasFragment();
}

Problem UnusableAddress(const QString& why, const QString& next)
{
    return {ExitCode::Usage, QStringLiteral("invalid-address"),
            QStringLiteral("The cloud's address cannot be used"), why, next};
}

} // namespace

bool IsWebAddress(const QString& cloud)
{
    return cloud.startsWith(QStringLiteral("https:"), Qt::CaseInsensitive) ||
           cloud.startsWith(QStringLiteral("http:"), Qt::CaseInsensitive);
}

std::optional<Problem> CheckAddress(const QString& cloud)
{
    if (HoldsCredentials(cloud))
        return UnusableAddress(
            QStringLiteral("it holds a user name or a password, which others could see"),
            QStringLiteral(
                "Leave both out of it: the name belongs in --user NAME, the secret in --token-file FILE."));
    if (IsWebAddress(cloud) && !IsUnderstood(QUrl(cloud)))
        return UnusableAddress(QStringLiteral("it is not the address of a collection"),
                               QStringLiteral("Write it as https://host/collection/ or https://host:8443/, "
                                              "with %23 for # and %3F for ? in names."));
    return std::nullopt;
}

QString ToOneSpelling(const QString& webAddress)
{
    QUrl url(webAddress);
    const bool isEncrypted = url.scheme() == QStringLiteral("https");
    if (url.port() == (isEncrypted ? kUsualEncryptedPort : kUsualPort))
        url.setPort(-1);
    static const QRegularExpression kSlashes(QStringLiteral("/+"));
    const QString path = url.path(QUrl::FullyEncoded) + QLatin1Char('/');
    url.setPath({});
    return url.toString(QUrl::FullyEncoded) + QString(path).replace(kSlashes, QStringLiteral("/"));
}

} // namespace Orvane::CommandLine
