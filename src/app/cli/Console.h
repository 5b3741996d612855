#pragma once

#include "Problem.h"

#include <QJsonObject>
#include <QString>

namespace Orvane::CommandLine {

/// Everything the program says. Data goes to stdout; messages, errors and the progress bar go to stderr. In
/// JSON form, stdout carries JSON alone and stderr nothing but a question that needs an answer.
/// Texts come out as UTF-8 whatever the locale; names in them must have been made printable.
class Console
{
public:
    enum class Form
    {
        Text,
        Json
    };
    enum class Volume
    {
        Normal,
        Quiet
    };

    Console(Form form, Volume volume);
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    [[nodiscard]] bool IsJson() const { return m_form == Form::Json; }
    [[nodiscard]] bool IsQuiet() const { return m_volume == Volume::Quiet; }

    /// Data, in text form only.
    void Print(const QString& line);

    /// Data, in JSON form only: one document on one line.
    void Print(const QJsonObject& document);

    /// A message that nothing depends on.
    void Tell(const QString& message);

    /// A message that matters although nothing has failed.
    void Warn(const QString& message);

    void Show(const Problem& problem);

    /// Shown whatever the form, since the program waits for the answer.
    void ShowQuestion(const QString& question);

    /// Whether a line may be drawn again and again: on a terminal, in text form, not quiet.
    [[nodiscard]] bool CanShowBar() const;
    [[nodiscard]] int BarWidth() const;
    void ShowBar(const QString& bar);

    /// Takes the bar away.
    void HideBar();

    /// Whether a person can be asked: stdin and stderr are a terminal.
    [[nodiscard]] bool CanAsk() const;

    /// Whether everything printed on stdout has been accepted.
    [[nodiscard]] bool IsOutputComplete();

private:
    void WriteData(const QByteArray& line);
    void WriteMessage(const QString& message);

    const Form m_form;
    const Volume m_volume;
    bool m_isBarShown = false;
};

} // namespace Orvane::CommandLine
