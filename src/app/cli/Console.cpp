#include "Console.h"

#include "PrintableText.h"
#include "Terminal.h"

#include <QJsonDocument>

#include <cstdio>

namespace Orvane::CommandLine {

namespace {

constexpr char kEraseLine[] = "\r\x1b[K";

void Write(std::FILE* stream, const QByteArray& bytes)
{
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stream);
}

} // namespace

Console::Console(Form form, Volume volume)
    : m_form(form)
    , m_volume(volume)
{}

void Console::Print(const QString& line)
{
    if (!IsJson())
        WriteData(line.toUtf8());
}

void Console::Print(const QJsonObject& document)
{
    if (IsJson())
        WriteData(ToPrintableJson(QJsonDocument(document).toJson(QJsonDocument::Compact)));
}

void Console::Tell(const QString& message)
{
    if (!IsJson() && !IsQuiet())
        WriteMessage(message);
}

void Console::Warn(const QString& message)
{
    if (!IsJson())
        WriteMessage(message);
}

void Console::Show(const Problem& problem)
{
    if (IsJson())
        return;
    WriteMessage(QStringLiteral("orvane-cloud: %1: %2.\n  %3")
                     .arg(ToPrintable(problem.what), ToPrintable(problem.why), ToPrintable(problem.next)));
}

void Console::ShowQuestion(const QString& question)
{
    HideBar();
    Write(stderr, question.toUtf8());
    std::fflush(stderr);
}

bool Console::CanShowBar() const
{
    return !IsJson() && !IsQuiet() && IsTerminal(stderr);
}

int Console::BarWidth() const
{
    return TerminalWidth(stderr) - 1;
}

void Console::ShowBar(const QString& bar)
{
    Write(stderr, kEraseLine + bar.toUtf8());
    std::fflush(stderr);
    m_isBarShown = true;
}

void Console::HideBar()
{
    if (!m_isBarShown)
        return;
    Write(stderr, kEraseLine);
    std::fflush(stderr);
    m_isBarShown = false;
}

bool Console::CanAsk() const
{
    return IsTerminal(stdin) && IsTerminal(stderr);
}

bool Console::IsOutputComplete()
{
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

void Console::WriteData(const QByteArray& line)
{
    HideBar();
    Write(stdout, line + '\n');
    std::fflush(stdout);
}

void Console::WriteMessage(const QString& message)
{
    HideBar();
    Write(stderr, message.toUtf8() + '\n');
}

} // namespace Orvane::CommandLine
