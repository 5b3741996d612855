#include "ProgressBar.h"

#include "Console.h"
#include "PrintableText.h"

namespace Orvane::CommandLine {

namespace {

constexpr int kShortestPauseInMs = 250;
constexpr int kCells = 24;

QString Elided(const QString& text, int width)
{
    if (text.size() <= width)
        return text;
    return width < 4 ? QString() : text.left(width - 3) + QStringLiteral("...");
}

} // namespace

ProgressBar::ProgressBar(Console& console)
    : m_console(console)
{}

void ProgressBar::Draw(const State& state)
{
    if (!m_console.CanShowBar())
        return;
    if (m_sinceLastDrawing.isValid() && m_sinceLastDrawing.elapsed() < kShortestPauseInMs)
        return;
    m_console.ShowBar(Render(state, m_console.BarWidth()));
    m_sinceLastDrawing.start();
}

QString ProgressBar::Render(const State& state, int width)
{
    const int filled = kCells * qBound(0, state.percent, 100) / 100;
    const QString count =
        state.count > 1
            ? QStringLiteral("%1 of %2  ").arg(QString::number(state.doneCount), QString::number(state.count))
            : QString();
    const QString bar =
        QStringLiteral("[%1%2] %3 %  %4")
            .arg(QString(filled, QLatin1Char('#')), QString(kCells - filled, QLatin1Char('.')),
                 QString::number(state.percent).rightJustified(3), count);
    return Elided(bar + Elided(ToPrintable(state.text), width - bar.size()), width);
}

} // namespace Orvane::CommandLine
