#include "Commands.h"

#include "../Options.h"
#include "DownloadCommand.h"
#include "ListCommand.h"
#include "PreviewCommand.h"
#include "QuotaCommand.h"
#include "RemoveCommand.h"
#include "StatusCommand.h"
#include "UploadCommand.h"
#include "WatchCommand.h"

#include <QHash>

namespace Orvane::CommandLine {

namespace {

using Maker = std::unique_ptr<Command> (*)(const Surroundings&);

template <typename SomeCommand>
std::unique_ptr<Command> Make(const Surroundings& surroundings)
{
    return std::make_unique<SomeCommand>(surroundings);
}

} // namespace

std::unique_ptr<Command> MakeCommand(const Surroundings& surroundings)
{
    const QHash<QString, Maker> makers{
        {QStringLiteral("download"), Make<DownloadCommand>}, {QStringLiteral("list"), Make<ListCommand>},
        {QStringLiteral("preview"), Make<PreviewCommand>},   {QStringLiteral("quota"), Make<QuotaCommand>},
        {QStringLiteral("remove"), Make<RemoveCommand>},     {QStringLiteral("status"), Make<StatusCommand>},
        {QStringLiteral("upload"), Make<UploadCommand>},     {QStringLiteral("watch"), Make<WatchCommand>},
    };
    return makers.value(surroundings.options.command)(surroundings);
}

} // namespace Orvane::CommandLine
