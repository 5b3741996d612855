#pragma once

#include <QEventLoop>
#include <QTimer>

#include <functional>

namespace Orvane::Tests {

/// Does something from an event loop of its own, as a message box does that a receiver opens.
inline void RunEventLoop(const std::function<void()>& action)
{
    QEventLoop loop;
    QTimer::singleShot(0, &loop, [&] {
        action();
        loop.quit();
    });
    loop.exec();
}

} // namespace Orvane::Tests
