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
        QString text; ///< the name of what moved last, or why nothing moves
    };

    void Draw(const State& state);

    /// "[#####.....]  50 %  2 of 5  text", not longer than @p width.
    [[nodiscard]] static QString Render(const State& state, int width);

private:
    Console& m_console;
    QElapsedTimer m_sinceLastDrawing;
};

} // namespace Orvane::CommandLine
