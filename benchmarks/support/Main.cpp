#include <QGuiApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <glog/logging.h>

int main(int argc, char* argv[])
{
    FLAGS_logtostderr = true;
    FLAGS_minloglevel = google::GLOG_FATAL;
    google::InitGoogleLogging(argv[0]);
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    // Whatever a benchmark writes goes below this folder, and with it.
    const QTemporaryDir folder(QDir::tempPath() + QStringLiteral("/orvane-bench-XXXXXX"));
    qputenv("TMPDIR", folder.path().toLocal8Bit());
    const QGuiApplication application(argc, argv);

    benchmark::Initialize(&argc, argv);
    if (!folder.isValid() || benchmark::ReportUnrecognizedArguments(argc, argv))
        return EXIT_FAILURE;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return EXIT_SUCCESS;
}
