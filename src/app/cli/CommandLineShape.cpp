#include "CommandLineShape.h"

#include <CLI/CLI.hpp>

namespace Orvane::CommandLine {

namespace {

QString FirstLine(const std::string& text)
{
    return QString::fromStdString(text).section(QLatin1Char('\n'), 0, 0);
}

ValueShape ValueOf(const CLI::Option& option)
{
    using Kind = ValueShape::Kind;
    const QString type = QString::fromStdString(option.get_type_name());
    if (option.get_items_expected_max() == 0)
        return {};
    if (type.contains(QLatin1Char('|')))
        return {Kind::Word, type.split(QLatin1Char('|'))};
    if (type == QStringLiteral("FILE"))
        return {option.get_positional() ? Kind::PdfFile : Kind::File, {}};
    if (type == QStringLiteral("FOLDER") || type == QStringLiteral("ADDRESS"))
        return {Kind::Folder, {}};
    return {Kind::Text, {}};
}

QStringList NamesOf(const CLI::Option& option)
{
    QStringList names;
    for (const std::string& name : option.get_lnames())
        names.append(QStringLiteral("--") + QString::fromStdString(name));
    for (const std::string& name : option.get_snames())
        names.append(QLatin1Char('-') + QString::fromStdString(name));
    return names;
}

QVector<OptionShape> OptionsOf(const CLI::App& app)
{
    QVector<OptionShape> shapes;
    for (const CLI::Option* option : app.get_options()) {
        if (option->nonpositional())
            shapes.append({NamesOf(*option), FirstLine(option->get_description()), ValueOf(*option)});
    }
    return shapes;
}

ValueShape ArgumentOf(const CLI::App& app)
{
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_positional())
            return ValueOf(*option);
    }
    return {};
}

} // namespace

CommandLineShape ShapeOf(const CLI::App& app)
{
    CommandLineShape shape;
    shape.globalOptions = OptionsOf(app);
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
        shape.commands.append({QString::fromStdString(command->get_name()),
                               FirstLine(command->get_description()), OptionsOf(*command),
                               ArgumentOf(*command)});
    return shape;
}

} // namespace Orvane::CommandLine
