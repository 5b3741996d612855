#include "Confirmation.h"

#include "Console.h"

#include <QSocketNotifier>
#include <QTimer>

#include <cstdio>
#include <iostream>
#include <string>

namespace Orvane::CommandLine {

Confirmation::Confirmation(Console& console)
    : m_console(console)
{}

Confirmation::~Confirmation() = default;

void Confirmation::Ask(const QString& question)
{
    m_console.ShowQuestion(question + QStringLiteral(" [y/N] "));
#ifdef Q_OS_UNIX
    m_notifier = std::make_unique<QSocketNotifier>(::fileno(stdin), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &Confirmation::ReadAnswer);
#else
    QTimer::singleShot(0, this, &Confirmation::ReadAnswer);
#endif
}

void Confirmation::ReadAnswer()
{
    if (m_notifier)
        m_notifier->setEnabled(false);
    std::string line;
    std::getline(std::cin, line); // a terminal hands out whole lines
    const QString answer = QString::fromStdString(line).trimmed().toLower();
    Q_EMIT Answered(answer == QStringLiteral("y") || answer == QStringLiteral("yes"));
}

} // namespace Orvane::CommandLine
