#include "DocumentChanges.h"

#include <QHash>

namespace Orvane::CommandLine {

namespace {

QHash<QString, const DocumentRow*> ById(const QVector<DocumentRow>& rows)
{
    QHash<QString, const DocumentRow*> index;
    for (const DocumentRow& row : rows)
        index.insert(row.id, &row);
    return index;
}

} // namespace

QVector<DocumentChange> CompareRows(const QVector<DocumentRow>& before, const QVector<DocumentRow>& after)
{
    QVector<DocumentChange> changes;
    auto unseen = ById(before);
    for (const DocumentRow& row : after) {
        const DocumentRow* earlier = unseen.take(row.id);
        if (!earlier)
            changes.append({DocumentChange::Kind::Added, row});
        else if (!(*earlier == row))
            changes.append({DocumentChange::Kind::Changed, row});
    }
    for (const DocumentRow& row : before) {
        if (unseen.contains(row.id))
            changes.append({DocumentChange::Kind::Removed, row});
    }
    return changes;
}

} // namespace Orvane::CommandLine
