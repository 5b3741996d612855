#include <QGuiApplication>

#include <glog/logging.h>
#include <gmock/gmock.h>

int main(int argc, char* argv[])
{
    FLAGS_logtostderr = true;
    FLAGS_minloglevel = google::GLOG_FATAL; // log lines are checked through sinks, see LogCapture
    google::InitGoogleLogging(argv[0]);
    testing::InitGoogleMock(&argc, argv);
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
