#pragma once

#include <QObject>

#include <memory>

class QSocketNotifier;

namespace Orvane::CommandLine {

class Console;

/// Asks a question and waits for one line on stdin. Where the system allows it, the event loop goes on while
/// the user thinks, so that Ctrl-C works.
class Confirmation : public QObject
{
    Q_OBJECT

public:
    explicit Confirmation(Console& console);
    ~Confirmation() override;

    void Ask(const QString& question);

Q_SIGNALS:
    /// "y" and "yes" are a yes; everything else, an end of the input included, is a no.
    void Answered(bool isYes);

private:
    void ReadAnswer();

    Console& m_console;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace Orvane::CommandLine
