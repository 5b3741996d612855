#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

namespace CLI {
class App;
}

namespace Orvane::CommandLine {

/// What a shell has to know of one value to help typing it.
struct ValueShape
{
    enum class Kind
    {
        None, ///< no value: a flag
        Text,
        File,
        PdfFile,
        Folder,
        Word
    };

    Kind kind = Kind::None;
    QStringList words; ///< the choices of a Word
};

struct OptionShape
{
    QStringList names; ///< with their dashes, long ones first
    QString description;
    ValueShape value;
};

struct CommandShape
{
    QString name;
    QString description; ///< one line
    QVector<OptionShape> options;
    ValueShape argument;
};

/// The bare shape of a command line, for completion.
struct CommandLineShape
{
    QVector<OptionShape> globalOptions;
    QVector<CommandShape> commands;
};

[[nodiscard]] CommandLineShape ShapeOf(const CLI::App& app);

} // namespace Orvane::CommandLine
