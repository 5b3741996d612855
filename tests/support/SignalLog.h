#pragma once

#include "Journal.h"

#include <MetaTypes.h>

#include <QMetaMethod>
#include <QVariant>

#include <functional>

namespace Orvane::Tests {

/// Writes every signal of a manager to the journal, with its arguments, and keeps the documents that it
/// brought. Arguments are read as a queued connection reads them, through their registered types.
class SignalLog : public QObject, public JournalWriter
{
public:
    using JournalWriter::JournalWriter;

    void Watch(const QObject& manager)
    {
        m_meta = manager.metaObject();
        for (int index = QObject::staticMetaObject.methodCount(); index < m_meta->methodCount(); ++index)
            QMetaObject::connect(&manager, index, this, index, Qt::DirectConnection);
    }

    int qt_metacall(QMetaObject::Call call, int index, void** arguments) override
    {
        if (call == QMetaObject::InvokeMetaMethod && index >= QObject::staticMetaObject.methodCount())
            Note(m_meta->method(index), arguments);
        return QObject::qt_metacall(call, index, arguments);
    }

    std::vector<std::shared_ptr<const PDF::FileInfo>> m_documents; ///< in the order of the signals
    std::function<void()> m_duringSignal = [] {};

private:
    void Note(const QMetaMethod& signal, void** arguments)
    {
        Events texts;
        for (int at = 0; at < signal.parameterCount(); ++at)
            texts.push_back(Text(QVariant(signal.parameterType(at), arguments[at + 1])));
        m_journal.Add(signal.name().toStdString() + "(" + Joined(texts) + ")");
        m_duringSignal();
    }

    std::string Text(const QVariant& argument)
    {
        const int type = argument.userType();
        if (type == qMetaTypeId<std::string>())
            return argument.value<std::string>();
        if (type == qMetaTypeId<PDF::FileInfo::PreviewSize>())
            return PDF::FileInfo::previewSizetoString(argument.value<PDF::FileInfo::PreviewSize>());
        if (type == qMetaTypeId<Document>())
            return Text({argument.value<Document>()});
        if (type == qMetaTypeId<std::shared_ptr<const PDF::FileInfo>>())
            return Text({argument.value<std::shared_ptr<const PDF::FileInfo>>()});
        if (type == qMetaTypeId<QList<Document>>()) {
            const auto documents = argument.value<QList<Document>>();
            return "[" + Text({documents.begin(), documents.end()}) + "]";
        }
        return argument.isValid() ? argument.toString().toStdString() : "unregistered type";
    }

    std::string Text(const std::vector<std::shared_ptr<const PDF::FileInfo>>& documents)
    {
        Events texts;
        for (const auto& document : documents) {
            m_documents.push_back(document);
            texts.push_back(m_journal.Name(document));
        }
        return Joined(texts);
    }

    const QMetaObject* m_meta = nullptr;
};

} // namespace Orvane::Tests
