#pragma once

#include "Problem.h"

#include <FileInfo.h>

#include <QByteArrayList>
#include <QString>
#include <QStringList>

#include <memory>
#include <variant>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace Orvane::CommandLine {

/// What the user wants, as read from the command line and the environment.
struct Options
{
    QString command; ///< the subcommand's name
    QString cloud;   ///< address or path; empty for the default
    QString user;    ///< whose password the token is; empty for a token of its own
    QString caFile;  ///< certificates to trust; empty for the system's
    QString data;    ///< folder; empty for the default
    QString tokenFile;
    bool isInsecureHttpAllowed = false;
    bool isEmptiedFolderAccepted = false;
    bool isJson = false;
    bool isQuiet = false;
    bool isVerbose = false;

    QByteArrayList files;  ///< upload: as the system gave them, which need not be UTF-8
    QStringList documents; ///< ids or file names
    QString target;        ///< --to; empty when not given
    bool isOverwritingAllowed = false;
    bool isRemovalConfirmed = false;
    bool isOffline = false;
    PDF::FileInfo::PreviewSize previewSize = PDF::FileInfo::PreviewSize::Large;
    int intervalInSeconds = 0;
    QString shell;
};

/// A text to print instead of doing anything: help, or the version.
struct Information
{
    QString text;
};

/// The program's command line: its definition, from which help and shell completion are made.
class Parser
{
public:
    Parser();
    ~Parser();

    /// To be called once. Reads the environment where an option is not given.
    [[nodiscard]] std::variant<Options, Information, Problem> Parse(int argc, const char* const* argv);

    [[nodiscard]] const CLI::App& Definition() const { return *m_app; }

private:
    struct RawOptions;

    void DefineGlobalOptions();
    void DefineCommands();
    void DefineList();
    void DefineUpload();
    void DefineDownload();
    void DefineRemove();
    void DefinePreview();
    void DefineWatch();
    void DefineCompletion();
    CLI::App& DefineCommand(const char* name, const char* description, const char* examples);
    CLI::Option& AddDocuments(CLI::App& command);
    void AddOverwrite(CLI::App& command);
    [[nodiscard]] std::variant<Options, Information, Problem> ToOptions() const;

    std::unique_ptr<RawOptions> m_raw;
    std::unique_ptr<CLI::App> m_app;
};

} // namespace Orvane::CommandLine
