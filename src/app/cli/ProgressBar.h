#pragma once

#include <QElapsedTimer>
#include <QString>

namespace Orvane::CommandLine {

class Console;

/// How far several transfers have come, as one line on a terminal, drawn at most four times a second.
/// Elsewhere it draws nothing.
class ProgressBar
{
public:
    explicit ProgressBar(Console& console);

    struct State
    {
        int percent = 0; ///< of the whole
        int doneCount = 0;
        int count = 0;
        QString name; ///< of the transfer that moved last
    };

    void Draw(const State& state);

    /// "[#####.....]  50 %  2 of 5  name", not longer than @p width.
    [[nodiscard]] static QString Render(const State& state, int width);

private:
    Console& m_console;
    QElapsedTimer m_sinceLastDrawing;
};

} // namespace Orvane::CommandLine
