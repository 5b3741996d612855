#include "LastProblem.h"

#include <support/PathText.h>

#include <QFile>
#include <QJsonDocument>
#include <QSaveFile>

namespace Orvane::CommandLine {

namespace {

QString FileIn(const std::filesystem::path& sessionFolder)
{
    return Support::ToText(sessionFolder / "last-problem.json");
}

QString TextOf(const QJsonObject& object, const char* key)
{
    return object.value(QLatin1String(key)).toString();
}

} // namespace

void RememberProblem(const std::filesystem::path& sessionFolder, const RememberedProblem& problem)
{
    QJsonObject object = ToJson(problem.problem);
    object.insert(QStringLiteral("when"), problem.when.toUTC().toString(Qt::ISODate));
    object.insert(QStringLiteral("command"), problem.command);
    QSaveFile file(FileIn(sessionFolder));
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner); // not those of the file before it
    file.write(QJsonDocument(object).toJson());
    file.commit();
}

std::optional<RememberedProblem> RecallProblem(const std::filesystem::path& sessionFolder)
{
    QFile file(FileIn(sessionFolder));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QJsonObject object = QJsonDocument::fromJson(file.readAll()).object();
    const QDateTime when = QDateTime::fromString(TextOf(object, "when"), Qt::ISODate);
    if (!when.isValid())
        return std::nullopt;
    return RememberedProblem{when, TextOf(object, "command"),
                             Problem{ExitCode::Failed, TextOf(object, "code"), TextOf(object, "what"),
                                     TextOf(object, "why"), TextOf(object, "next")}};
}

} // namespace Orvane::CommandLine
