#pragma once

#include <QObject>
#include <QTimer>

namespace Orvane::CommandLine {

/// Turns the first Ctrl-C (or the system's wish to end the program) into a signal from the event loop. A
/// second Ctrl-C ends the program at once. One object at a time; signals that were ignored from outside stay
/// ignored.
class Interrupt : public QObject
{
    Q_OBJECT

public:
    explicit Interrupt(QObject* parent = nullptr);
    ~Interrupt() override;

Q_SIGNALS:
    void Requested();

private:
    void Poll();

    QTimer m_timer;
};

/// Lets a first Ctrl-C wait until an Interrupt looks for it. To be called before anything is begun that must
/// not be cut off.
void CatchInterrupts();

/// Whether Ctrl-C has been pressed: for long work that lets no event loop run. From any thread.
[[nodiscard]] bool IsInterruptRequested();

} // namespace Orvane::CommandLine
