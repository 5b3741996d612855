#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

namespace Orvane::CommandLine {

/// Notices that something is a long time coming.
class Patience : public QObject
{
    Q_OBJECT

public:
    Patience();
    ~Patience() override;

    /// Starts to wait, or starts afresh because something has come.
    void Begin();
    void End();

Q_SIGNALS:
    /// Nothing has come for a while: once a second from the third second on.
    void Tried(int seconds);

private:
    void Tick();

    QTimer m_everySecond;
    QElapsedTimer m_sinceLastNews;
};

} // namespace Orvane::CommandLine
