#pragma once

#include <FileInfo.h>
#include <MetaTypes.h>

#include <QMetaMethod>
#include <QVariant>

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <utility>

namespace Orvane::Tests {

/// Receives every signal of the objects that it watches, counts them by name, and acts inside one emission of
/// the chosen one. The arguments are read after that: they must still be there.
class SignalReceiver : public QObject
{
public:
    /// Watches the signals of the sender's own classes.
    void Watch(const QObject& sender)
    {
        const auto* meta = sender.metaObject();
        for (int index = QObject::staticMetaObject.methodCount(); index < meta->methodCount(); ++index) {
            m_signals[m_next] = meta->method(index);
            QMetaObject::connect(&sender, index, this, m_next++, Qt::DirectConnection);
        }
    }

    /// @param signal  its signature, or as much of the beginning as tells it from others
    void ActInside(const std::string& signal, std::function<void()> action)
    {
        m_chosen = signal;
        m_action = std::move(action);
    }

    [[nodiscard]] bool HasActed() const { return m_hasActed; }

    /// How often a signal of this name, or with this beginning of it, has come.
    [[nodiscard]] int Count(const std::string& beginning) const
    {
        int count = 0;
        for (auto name = m_counts.lower_bound(beginning);
             name != m_counts.end() && name->first.rfind(beginning, 0) == 0; ++name)
            count += name->second;
        return count;
    }

    int qt_metacall(QMetaObject::Call call, int index, void** arguments) override
    {
        if (call == QMetaObject::InvokeMetaMethod && m_signals.count(index) > 0)
            Receive(m_signals[index], arguments);
        return QObject::qt_metacall(call, index, arguments);
    }

private:
    void Receive(const QMetaMethod& signal, void** arguments)
    {
        ++m_counts[signal.name().toStdString() + '('];
        if (m_action && signal.methodSignature().toStdString().rfind(m_chosen, 0) == 0) {
            m_hasActed = true;
            std::exchange(m_action, nullptr)();
        }
        for (int at = 0; at < signal.parameterCount(); ++at)
            Read(QVariant(signal.parameterType(at), arguments[at + 1]));
    }

    static void Read(const QVariant& argument)
    {
        if (argument.canConvert<std::shared_ptr<PDF::FileInfo>>())
            EXPECT_LT(argument.value<std::shared_ptr<PDF::FileInfo>>()->GetId().size(), 100U);
        else if (argument.canConvert<std::shared_ptr<const PDF::FileInfo>>())
            EXPECT_LT(argument.value<std::shared_ptr<const PDF::FileInfo>>()->GetId().size(), 100U);
        else if (argument.canConvert<std::string>())
            EXPECT_LT(argument.value<std::string>().size(), 100U);
        else
            EXPECT_TRUE(argument.isValid());
    }

    std::map<int, QMetaMethod> m_signals; // by the index that this receiver gives them
    int m_next = QObject::staticMetaObject.methodCount();
    std::map<std::string, int> m_counts;
    std::string m_chosen;
    std::function<void()> m_action;
    bool m_hasActed = false;
};

/// What has been announced as started and has not ended; below zero when an end came twice.
inline int UnderWay(const SignalReceiver& received)
{
    const auto count = [&](const char* name) { return received.Count(name); };
    return count("UploadingStarted(") - count("UploadingFinished(") - count("UploadingCanceled(") -
           count("UploadingFileRequestError(") + count("DownloadingStarted(") -
           count("DownloadingFinished(") - count("DownloadingCanceled(") -
           count("DownloadingFileRequestError(") + count("RetrievingFilesListStarted(") -
           count("RetrievingFilesListFinished(") - count("RetrievingFilesListCanceled(") -
           count("RetrievingFilesListErrorRequested(") + count("RetrievingUserQuotaStarted(") -
           count("RetrievingUserQuotaFinished(") - count("RetrievingUserQuotaCanceled(") -
           count("RetrievingUserQuotaErrorRequested(") + count("RetrieveFilePreviewStarted(") -
           count("RetrieveFilePreviewFinished(") - count("RetrieveFilePreviewCanceled(") -
           count("RetrieveFilePreviewError(");
}

} // namespace Orvane::Tests
