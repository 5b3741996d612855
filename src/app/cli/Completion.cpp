#include "Completion.h"

#include "CommandLineShape.h"

#include <functional>

namespace Orvane::CommandLine {

namespace {

using Kind = ValueShape::Kind;

QString Quoted(QString text)
{
    return QLatin1Char('\'') + text.replace(QLatin1Char('\''), QStringLiteral("'\\''")) + QLatin1Char('\'');
}

QString Joined(const QVector<OptionShape>& options, const QString& separator,
               const std::function<bool(const OptionShape&)>& isWanted)
{
    QStringList names;
    for (const OptionShape& option : options) {
        if (isWanted(option))
            names += option.names;
    }
    return names.join(separator);
}

bool IsAny(const OptionShape&)
{
    return true;
}

bool HasValue(const OptionShape& option)
{
    return option.value.kind != Kind::None;
}

QString BashCompletion(const ValueShape& value)
{
    switch (value.kind) {
    case Kind::File:
        return QStringLiteral("_orvane_cloud_reply -f");
    case Kind::PdfFile:
        return QStringLiteral("_orvane_cloud_reply -d -f -X '!*.[pP][dD][fF]'");
    case Kind::Folder:
        return QStringLiteral("_orvane_cloud_reply -d");
    case Kind::Word:
        return QStringLiteral("_orvane_cloud_reply -W ") + Quoted(value.words.join(QLatin1Char(' ')));
    case Kind::None:
    case Kind::Text:
        break;
    }
    return QStringLiteral(":");
}

QString BashValueCases(const QString& command, const QVector<OptionShape>& options)
{
    QString cases;
    for (const OptionShape& option : options) {
        if (!HasValue(option))
            continue;
        for (const QString& name : option.names)
            cases +=
                QStringLiteral("    %1:%2) %3; return ;;\n").arg(command, name, BashCompletion(option.value));
    }
    return cases;
}

QString BashCommandCase(const CommandShape& command, const QString& globalNames)
{
    const QString names =
        Joined(command.options, QStringLiteral(" "), IsAny) + QLatin1Char(' ') + globalNames;
    return QStringLiteral("    %1:-*) _orvane_cloud_reply -W %2 ;;\n    %1:*) %3 ;;\n")
        .arg(command.name, Quoted(names), BashCompletion(command.argument));
}

QString BashScript(const CommandLineShape& shape)
{
    static const QString kScript = QStringLiteral(R"(_orvane_cloud_reply() {
  local current=${COMP_WORDS[COMP_CWORD]}
  [[ $1 == -W ]] || compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen "$@" -- "$current")
}

_orvane_cloud() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} command= i
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
    @VALUED@) ((i++)) ;;
    -*) ;;
    *) command=${COMP_WORDS[i]}; break ;;
    esac
  done
  case $command:$previous in
@VALUES@  esac
  case $command:$current in
    :-*) _orvane_cloud_reply -W @GLOBALS@ ;;
    :*) _orvane_cloud_reply -W @COMMANDS@ ;;
@ARGUMENTS@  esac
}

complete -F _orvane_cloud orvane-cloud
)");
    const QString globals = Joined(shape.globalOptions, QStringLiteral(" "), IsAny);
    QStringList names;
    QString values = BashValueCases(QStringLiteral("*"), shape.globalOptions);
    QString arguments;
    for (const CommandShape& command : shape.commands) {
        names.append(command.name);
        values += BashValueCases(command.name, command.options);
        arguments += BashCommandCase(command, globals);
    }
    QString script = kScript;
    script.replace(QStringLiteral("@VALUED@"), Joined(shape.globalOptions, QStringLiteral("|"), HasValue));
    script.replace(QStringLiteral("@VALUES@"), values);
    script.replace(QStringLiteral("@GLOBALS@"), Quoted(globals));
    script.replace(QStringLiteral("@COMMANDS@"), Quoted(names.join(QLatin1Char(' '))));
    return script.replace(QStringLiteral("@ARGUMENTS@"), arguments);
}

QString ZshText(QString text)
{
    for (const char special : {'[', ']', ':'})
        text.replace(QLatin1Char(special), QLatin1Char('\\') + QString(QLatin1Char(special)));
    return text;
}

QString ZshAction(const ValueShape& value)
{
    switch (value.kind) {
    case Kind::File:
        return QStringLiteral(":file:_files");
    case Kind::PdfFile:
        return QStringLiteral(":file:_files -g \"*.(pdf|PDF)\"");
    case Kind::Folder:
        return QStringLiteral(":folder:_files -/");
    case Kind::Word:
        return QStringLiteral(":choice:(%1)").arg(value.words.join(QLatin1Char(' ')));
    case Kind::Text:
        return QStringLiteral(":value: ");
    case Kind::None:
        break;
    }
    return {};
}

QString ZshArguments(const QVector<OptionShape>& options)
{
    QString lines;
    for (const OptionShape& option : options) {
        for (const QString& name : option.names)
            lines += QStringLiteral("    ") +
                     Quoted(name + QLatin1Char('[') + ZshText(option.description) + QLatin1Char(']') +
                            ZshAction(option.value)) +
                     QLatin1Char('\n');
    }
    return lines;
}

QString ZshCommandCase(const CommandShape& command)
{
    const QString argument = command.argument.kind == Kind::None
                                 ? QString()
                                 : Quoted(QLatin1Char('*') + ZshAction(command.argument));
    return QStringLiteral("  %1) _arguments $global \\\n").arg(command.name) +
           ZshArguments(command.options).replace(QLatin1Char('\n'), QStringLiteral(" \\\n")) +
           QStringLiteral("    ") + argument + QStringLiteral(" ;;\n");
}

QString ZshScript(const CommandLineShape& shape)
{
    QString commands;
    QString cases;
    for (const CommandShape& command : shape.commands) {
        commands += QStringLiteral("    ") +
                    Quoted(command.name + QLatin1Char(':') + ZshText(command.description)) +
                    QLatin1Char('\n');
        cases += ZshCommandCase(command);
    }
    return QStringLiteral("#compdef orvane-cloud\n\n_orvane_cloud() {\n"
                          "  local curcontext=$curcontext state line\n  typeset -A opt_args\n"
                          "  local -a commands=(\n") +
           commands + QStringLiteral("  )\n  local -a global=(\n") + ZshArguments(shape.globalOptions) +
           QStringLiteral("  )\n"
                          "  _arguments -C $global '1:command:->command' '*::argument:->argument'\n"
                          "  [[ $state == command ]] && _describe command commands\n"
                          "  [[ $state == argument ]] || return\n"
                          "  case $line[1] in\n") +
           cases + QStringLiteral("  esac\n}\n\ncompdef _orvane_cloud orvane-cloud\n");
}

QString FishValue(const ValueShape& value)
{
    switch (value.kind) {
    case Kind::File:
    case Kind::PdfFile:
        return QStringLiteral(" -r -F");
    case Kind::Folder:
        return QStringLiteral(" -x -a '(__fish_complete_directories)'");
    case Kind::Word:
        return QStringLiteral(" -x -a ") + Quoted(value.words.join(QLatin1Char(' ')));
    case Kind::Text:
        return QStringLiteral(" -x");
    case Kind::None:
        break;
    }
    return {};
}

QString FishOption(const QString& condition, const OptionShape& option)
{
    QString line = QStringLiteral("complete -c orvane-cloud") + condition;
    for (const QString& name : option.names)
        line += name.startsWith(QStringLiteral("--")) ? QStringLiteral(" -l ") + name.mid(2)
                                                      : QStringLiteral(" -s ") + name.mid(1);
    return line + FishValue(option.value) + QStringLiteral(" -d ") + Quoted(option.description) +
           QLatin1Char('\n');
}

QString FishCommand(const CommandShape& command)
{
    const QString condition = QStringLiteral(" -n '__fish_seen_subcommand_from %1'").arg(command.name);
    QString lines = QStringLiteral("complete -c orvane-cloud -n __fish_use_subcommand -a ") + command.name +
                    QStringLiteral(" -d ") + Quoted(command.description) + QLatin1Char('\n');
    if (command.argument.kind == Kind::PdfFile || command.argument.kind == Kind::Word)
        lines += QStringLiteral("complete -c orvane-cloud") + condition + FishValue(command.argument) +
                 QLatin1Char('\n');
    for (const OptionShape& option : command.options)
        lines += FishOption(condition, option);
    return lines;
}

QString FishScript(const CommandLineShape& shape)
{
    QString script = QStringLiteral("complete -c orvane-cloud -f\n");
    for (const OptionShape& option : shape.globalOptions)
        script += FishOption({}, option);
    for (const CommandShape& command : shape.commands)
        script += FishCommand(command);
    return script;
}

} // namespace

QString CompletionScript(const CLI::App& app, const QString& shell)
{
    const CommandLineShape shape = ShapeOf(app);
    if (shell == QStringLiteral("bash"))
        return BashScript(shape);
    return shell == QStringLiteral("zsh") ? ZshScript(shape) : FishScript(shape);
}

} // namespace Orvane::CommandLine
