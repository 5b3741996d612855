#include "Options.h"

#include "PrintableText.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

namespace Orvane::CommandLine {

using PDF::FileInfo;

/// Where the definition stores what it reads: bytes as the system gave them.
struct Parser::RawOptions
{
    std::string cloud;
    std::string data;
    std::string tokenFile;
    std::string user;
    std::string caFile;
    bool isInsecureHttpAllowed = false;
    bool isEmptiedFolderAccepted = false;
    bool isJson = false;
    bool isQuiet = false;
    bool isVerbose = false;
    std::vector<std::string> files;
    std::vector<std::string> documents;
    std::string target;
    bool isOverwritingAllowed = false;
    bool isRemovalConfirmed = false;
    bool isOffline = false;
    std::string previewSize = "large";
    int intervalInSeconds = 30;
    std::string shell;
};

namespace {

constexpr char kDescription[] =
    "orvane-cloud keeps PDF documents in a cloud: puts them there, lists them, brings them back.\n"
    "The cloud is a folder, or a collection on a WebDAV server; without any set-up, a folder of its own.\n";

constexpr char kFooter[] =
    R"(Examples:
  orvane-cloud upload report.pdf
  orvane-cloud list
  orvane-cloud download report.pdf --to ~/Documents
  orvane-cloud --cloud /mnt/share/papers list --json
  orvane-cloud --cloud https://host/dav/papers/ --user ada --token-file ~/.papers-password list

A DOCUMENT is named by its id or by its file name, where only one document has that name.
Data goes to stdout, messages and progress to stderr. With --json stdout holds exactly one JSON document,
also when something fails: { "ok": false, "error": { "code", "what", "why", "next" } }.

A folder wants no token. A WebDAV server does: with --user it is sent as that user's password (Basic), without
as a bearer token. Neither name nor secret may stand in the address. http:// is used only for this machine,
unless --allow-insecure-http says otherwise: anyone on the way can then read the token.

Environment: ORVANE_CLOUD, ORVANE_CLOUD_USER, ORVANE_CLOUD_CA_FILE and ORVANE_CLOUD_DATA stand for --cloud,
--user, --ca-file and --data, unless they are empty. ORVANE_CLOUD_TOKEN holds the token where there is no
--token-file.

Exit codes: 0 done, 1 failed, 2 usage, 3 not found, 4 sign-in needed, 5 network or cloud trouble,
6 conflict (something stands in the way), 7 cloud is full, 8 local disk, 130 interrupted. With several files
the others go on when one fails; the code is that of the failures when they are alike, and 1 when not.)";

constexpr int kLongestIntervalInSeconds = 24 * 60 * 60;

QString FromUtf8(const std::string& bytes)
{
    return QString::fromStdString(bytes);
}

QByteArray ToBytes(const std::string& bytes)
{
    return QByteArray::fromStdString(bytes);
}

FileInfo::PreviewSize ToPreviewSize(const std::string& text)
{
    if (text == "small")
        return FileInfo::PreviewSize::Small;
    return text == "medium" ? FileInfo::PreviewSize::Medium : FileInfo::PreviewSize::Large;
}

/// RFC 7617 §2: the name ends at the first colon.
bool IsUserName(const QString& text)
{
    return std::none_of(text.begin(), text.end(), [](QChar character) {
        return character == QLatin1Char(':') || character.category() == QChar::Other_Control;
    });
}

bool AreAllUtf8(const std::vector<std::string>& texts)
{
    return std::all_of(texts.begin(), texts.end(),
                       [](const std::string& text) { return IsUtf8(ToBytes(text)); });
}

/// An empty text, as from a variable that is not set, would silently mean the default.
CLI::Validator NotEmpty()
{
    return CLI::Validator(
        [](const std::string& text) { return text.empty() ? "it is empty" : std::string(); }, std::string());
}

/// "--cloud=" would take the next argument for its value.
const char* FindOptionWithoutValue(int argc, const char* const* argv)
{
    const auto* end =
        std::find_if(argv, argv + argc, [](const char* text) { return !std::strcmp(text, "--"); });
    const auto* found = std::find_if(argv, end, [](const char* text) {
        const char* sign = std::strchr(text, '=');
        return std::strncmp(text, "--", 2) == 0 && sign && sign[1] == '\0';
    });
    return found == end ? nullptr : *found;
}

} // namespace

Parser::Parser()
    : m_raw(std::make_unique<RawOptions>())
    , m_app(std::make_unique<CLI::App>(kDescription, "orvane-cloud"))
{
    m_app->footer(kFooter);
    m_app->require_subcommand(1);
    m_app->get_formatter()->column_width(34);
    m_app->get_formatter()->label("Positionals", "Arguments");
    m_app->get_formatter()->label("SUBCOMMAND", "COMMAND");
    m_app->set_version_flag("--version", "orvane-cloud " ORVANE_VERSION, "Print the version and end");
    DefineGlobalOptions();
    DefineCommands();
}

Parser::~Parser() = default;

void Parser::DefineGlobalOptions()
{
    m_app
        ->add_option("--cloud", m_raw->cloud,
                     "The cloud's address: a folder, file:///folder, or https://host/collection/")
        ->type_name("ADDRESS")
        ->check(NotEmpty())
        ->envname("ORVANE_CLOUD");
    m_app->add_option("--data", m_raw->data, "Where the list, settings, logs and cache are kept")
        ->type_name("FOLDER")
        ->check(NotEmpty())
        ->envname("ORVANE_CLOUD_DATA");
    m_app->add_option("--user", m_raw->user, "Whose password the token is (default: it is a bearer token)")
        ->type_name("NAME")
        ->check(NotEmpty())
        ->envname("ORVANE_CLOUD_USER");
    m_app->add_option("--token-file", m_raw->tokenFile, "File whose first line is the token or the password")
        ->type_name("FILE")
        ->check(NotEmpty());
    m_app->add_option("--ca-file", m_raw->caFile, "Certificates to trust instead of the system's (PEM)")
        ->type_name("FILE")
        ->check(NotEmpty())
        ->envname("ORVANE_CLOUD_CA_FILE");
    m_app->add_flag("--allow-insecure-http", m_raw->isInsecureHttpAllowed,
                    "Send the token over http:// to other machines");
    m_app->add_flag("--accept-empty", m_raw->isEmptiedFolderAccepted,
                    "Use a folder that has lost all its documents, though its drive may not be mounted");
    m_app->add_flag("--json", m_raw->isJson, "Print one JSON document on stdout, and nothing on stderr");
    m_app->add_flag("-q,--quiet", m_raw->isQuiet, "Print data and errors only");
    m_app->add_flag("-v,--verbose", m_raw->isVerbose, "Print log lines to stderr as well");
}

CLI::App& Parser::DefineCommand(const char* name, const char* description, const char* examples)
{
    CLI::App* command = m_app->add_subcommand(name, description);
    command->group("Commands");
    command->fallthrough(); // so that global options may follow the command
    command->footer(std::string("Example:\n") + examples +
                    "\n\nGlobal options and exit codes: orvane-cloud --help");
    return *command;
}

void Parser::DefineCommands()
{
    DefineCommand("status", "Show the cloud, whether it can be used, and what went wrong last",
                  "  orvane-cloud status");
    DefineList();
    DefineUpload();
    DefineDownload();
    DefineRemove();
    DefineCommand("quota", "Show how much space is used", "  orvane-cloud quota");
    DefinePreview();
    DefineWatch();
    DefineCompletion();
}

void Parser::DefineList()
{
    CLI::App& list = DefineCommand("list", "Ask the cloud what it holds and list it, by name",
                                   "  orvane-cloud list\n  orvane-cloud list --offline --json");
    list.add_flag("--offline", m_raw->isOffline, "Show the list of last time without asking the cloud");
}

void Parser::DefineUpload()
{
    CLI::App& upload =
        DefineCommand("upload",
                      "Put PDF files into the cloud; prints the name and the id of each there\n"
                      "(with a tab in between). A file that is there already, with the same name and\n"
                      "content, is not sent again. A name that is taken becomes \"name (2).pdf\".",
                      "  orvane-cloud upload report.pdf invoices/*.pdf");
    upload.add_option("FILE", m_raw->files, "PDF files on this machine")->type_name("FILE")->required();
}

void Parser::DefineDownload()
{
    CLI::App& download = DefineCommand("download", "Bring documents to this machine; prints their paths",
                                       "  orvane-cloud download report.pdf --to ~/Documents --overwrite");
    AddDocuments(download);
    download.add_option("--to", m_raw->target, "Where to put them (default: the current folder)")
        ->type_name("FOLDER")
        ->check(NotEmpty());
    AddOverwrite(download);
}

void Parser::DefineRemove()
{
    CLI::App& remove = DefineCommand("remove", "Delete documents from the cloud; local copies stay",
                                     "  orvane-cloud remove old.pdf --yes");
    AddDocuments(remove);
    remove.add_flag("-y,--yes", m_raw->isRemovalConfirmed, "Do not ask (needed where nobody can be asked)");
}

void Parser::DefinePreview()
{
    CLI::App& preview = DefineCommand("preview", "Make a PNG picture of the first page; prints its path",
                                      "  orvane-cloud preview report.pdf --size medium --to front.png");
    AddDocuments(preview).expected(1);
    preview.add_option("--size", m_raw->previewSize, "40, 100 or 191 pixels (default: large)")
        ->check(CLI::IsMember({"small", "medium", "large"}).description(""))
        ->type_name("small|medium|large");
    preview.add_option("--to", m_raw->target, "The picture's file (default: NAME-SIZE.png in this folder)")
        ->type_name("FILE")
        ->check(NotEmpty());
    AddOverwrite(preview);
}

void Parser::DefineWatch()
{
    CLI::App& watch = DefineCommand("watch",
                                    "Print what changes in the cloud, until Ctrl-C\n"
                                    "(with --json, one JSON document a line).",
                                    "  orvane-cloud watch --interval 60");
    watch.add_option("--interval", m_raw->intervalInSeconds, "Time between two questions (default: 30)")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, kLongestIntervalInSeconds).description(""));
}

void Parser::DefineCompletion()
{
    CLI::App& completion = DefineCommand("completion", "Print a script that teaches your shell to complete",
                                         "  source <(orvane-cloud completion bash)");
    completion.add_option("SHELL", m_raw->shell, "Which shell")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}).description(""))
        ->type_name("bash|zsh|fish");
}

CLI::Option& Parser::AddDocuments(CLI::App& command)
{
    return *command.add_option("DOCUMENT", m_raw->documents, "Id or file name")
                ->type_name("NAME")
                ->required();
}

void Parser::AddOverwrite(CLI::App& command)
{
    command.add_flag("--overwrite", m_raw->isOverwritingAllowed, "Replace a file that is already there");
}

std::variant<Options, Information, Problem> Parser::Parse(int argc, const char* const* argv)
{
    if (const char* option = FindOptionWithoutValue(argc, argv))
        return UsageProblem(FromUtf8(option) + QStringLiteral(": it is empty"));
    try {
        m_app->parse(argc, argv);
        return ToOptions();
    } catch (const CLI::Success& information) {
        std::ostringstream text;
        m_app->exit(information, text, text);
        return Information{FromUtf8(text.str())};
    } catch (const CLI::ParseError& error) {
        return UsageProblem(
            FromUtf8(error.what()).replace(QStringLiteral("A subcommand"), QStringLiteral("a command")));
    }
}

std::variant<Options, Information, Problem> Parser::ToOptions() const
{
    if (!AreAllUtf8(m_raw->documents) ||
        !AreAllUtf8({m_raw->cloud, m_raw->data, m_raw->user, m_raw->tokenFile, m_raw->caFile, m_raw->target}))
        return UsageProblem(QStringLiteral("an argument is not valid UTF-8"));
    if (!IsUserName(FromUtf8(m_raw->user)))
        return UsageProblem(QStringLiteral("a user's name holds no colon and no control characters"));

    Options options;
    options.command = FromUtf8(m_app->get_subcommands().front()->get_name());
    options.cloud = FromUtf8(m_raw->cloud);
    options.data = FromUtf8(m_raw->data);
    options.user = FromUtf8(m_raw->user);
    options.caFile = FromUtf8(m_raw->caFile);
    options.tokenFile = FromUtf8(m_raw->tokenFile);
    options.isInsecureHttpAllowed = m_raw->isInsecureHttpAllowed;
    options.isEmptiedFolderAccepted = m_raw->isEmptiedFolderAccepted;
    options.isJson = m_raw->isJson;
    options.isQuiet = m_raw->isQuiet;
    options.isVerbose = m_raw->isVerbose;
    for (const std::string& file : m_raw->files)
        options.files.append(ToBytes(file));
    for (const std::string& document : m_raw->documents)
        options.documents.append(FromUtf8(document));
    options.target = FromUtf8(m_raw->target);
    options.isOverwritingAllowed = m_raw->isOverwritingAllowed;
    options.isRemovalConfirmed = m_raw->isRemovalConfirmed;
    options.isOffline = m_raw->isOffline;
    options.previewSize = ToPreviewSize(m_raw->previewSize);
    options.intervalInSeconds = m_raw->intervalInSeconds;
    options.shell = FromUtf8(m_raw->shell);
    return options;
}

} // namespace Orvane::CommandLine
