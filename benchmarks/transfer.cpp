#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>

#include <cstdio>
#include <functional>

/// A process that signs in with the protocol client, does one thing with many documents, and ends: to be
/// compared with others of its kind. What the managers add to a transfer is not in it.
///
///     benchmark-transfer [--user NAME] --cache FOLDER ADDRESS list COUNT
///     benchmark-transfer [--user NAME] --cache FOLDER ADDRESS upload FILE...
///     benchmark-transfer [--user NAME] --cache FOLDER ADDRESS download FOLDER ID...
///     benchmark-transfer [--user NAME] --cache FOLDER ADDRESS list-and-download FOLDER ID...
///
/// The token is taken from ORVANE_BENCHMARK_TOKEN. All requests are made at once.
namespace Orvane::Social {
namespace {

class Transfer
{
public:
    using Client = OrvaneCloudProtocol;
    using Work = void (Transfer::*)();

    Transfer(Client& client, const QStringList& arguments)
        : m_client(client)
        , m_arguments(arguments)
    {}

    void SignInAnd(Work work)
    {
        const QString token = qEnvironmentVariable("ORVANE_BENCHMARK_TOKEN", QStringLiteral("any"));
        const auto onSignedIn = [this, work](long long, RequestResult result) {
            Require(Operation::SignIn, result == RequestResult::Success);
            (this->*work)();
        };
        Require(Operation::SignIn, m_client.auth({{Client::SSO_TOKEN, token}}, onSignedIn));
    }

    void List()
    {
        ListAnd([this](int count) {
            const bool isWhole = count == m_arguments.value(0).toInt();
            if (!isWhole)
                std::fprintf(stderr, "%d documents\n", count);
            QCoreApplication::exit(isWhole ? 0 : 1);
        });
    }

    void Upload()
    {
        m_pending = m_arguments.size();
        for (const QString& file : m_arguments) {
            const auto onStored = [this](long long, RequestResult result, const auto&) {
                EndOne(Operation::Upload, result);
            };
            const QString path = QFileInfo(file).absoluteFilePath();
            Require(Operation::Upload, m_client.uploadFile(path, {}, onStored, {}));
        }
    }

    void ListAndDownload()
    {
        ListAnd([this](int) { Download(); });
    }

    void Download()
    {
        const QString folder = QFileInfo(m_arguments.takeFirst()).absoluteFilePath() + QLatin1Char('/');
        m_pending = m_arguments.size();
        for (const QString& id : m_arguments) {
            const auto onArrived = [this](long long, RequestResult result) {
                EndOne(Operation::Download, result);
            };
            const QMap<QString, QString> fields{{Client::ID, id}, {Client::FILE_NAME, folder + id}};
            Require(Operation::Download, m_client.downloadFile({fields, {}}, onArrived, {}));
        }
    }

private:
    void ListAnd(const std::function<void(int count)>& next)
    {
        const auto onListed = [this, next](long long, RequestResult result, const auto& files) {
            Require(Operation::FileList, result == RequestResult::Success);
            next(files.size());
        };
        Require(Operation::FileList, m_client.retriveFileList({}, onListed));
    }

    void EndOne(Operation operation, RequestResult result)
    {
        Require(operation, result == RequestResult::Success);
        if (--m_pending == 0)
            QCoreApplication::quit();
    }

    void Require(Operation operation, long long ticket) { Require(operation, ticket != INVALID_TICKET); }

    void Require(Operation operation, bool isGood)
    {
        if (isGood)
            return;
        const auto failure = m_client.LastFailure(operation);
        std::fprintf(stderr, "%s\n", qPrintable(failure ? failure->detail : QStringLiteral("failed")));
        std::exit(1); // there is nothing left to measure
    }

    Client& m_client;
    QStringList m_arguments;
    int m_pending = 0;
};

int Run(const QCoreApplication& application)
{
    const QCommandLineOption user(QStringLiteral("user"), {}, QStringLiteral("name"));
    const QCommandLineOption cache(QStringLiteral("cache"), {}, QStringLiteral("folder"));
    QCommandLineParser parser;
    parser.addOptions({user, cache});
    parser.process(application);
    const QStringList arguments = parser.positionalArguments();

    const QMap<QString, Transfer::Work> works{
        {QStringLiteral("list"), &Transfer::List},
        {QStringLiteral("upload"), &Transfer::Upload},
        {QStringLiteral("download"), &Transfer::Download},
        {QStringLiteral("list-and-download"), &Transfer::ListAndDownload}};
    const auto work = works.value(arguments.value(1));
    if (work == nullptr || arguments.size() < 3) {
        std::fputs("what is to be done is missing or not known\n", stderr);
        return 2;
    }
    OAuth2::AuthInfo account;
    account.userName = parser.value(user);
    account.cacheFolder = parser.value(cache);
    OrvaneCloudProtocol client(account, arguments[0].toStdString(), nullptr);
    Transfer transfer(client, arguments.mid(2));
    transfer.SignInAnd(work);
    return QCoreApplication::exec();
}

} // namespace
} // namespace Orvane::Social

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    return Orvane::Social::Run(application);
}
