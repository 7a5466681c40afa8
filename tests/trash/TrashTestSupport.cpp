#include "TrashTestSupport.h"

#include "trash/DurableTrashJournal.h"

#include <QDir>
#include <QFile>

namespace kestrava::test {

TrashSandbox::TrashSandbox()
{
    tree.mkdir(QStringLiteral("photos"));
    tree.mkdir(QStringLiteral("result"));
    tree.mkdir(QStringLiteral("xdg"));
    environment_.set("XDG_DATA_HOME", dataHome().toUtf8());
}

QString TrashSandbox::addOriginal(const QString& name, const QByteArray& bytes)
{
    return tree.write(QStringLiteral("photos/") + name, bytes);
}

QList<TrashGroup> TrashSandbox::singleGroups(const QStringList& paths)
{
    QList<TrashGroup> groups;
    for (const QString& path : paths)
        groups.append(oneGroup({path}));
    return groups;
}

TrashGroup TrashSandbox::oneGroup(const QStringList& paths)
{
    TrashGroup group;
    group.id = QUuid::createUuid();
    for (const QString& path : paths) {
        const FileUrl url = FileUrl::fromLocalPath(path);
        group.members.append({url, url.fileName()});
    }
    return group;
}

TrashPreparation TrashTransactionTest::prepare(const QList<TrashGroup>& groups, const TrashTransactionOptions& options)
{
    return TrashTransactionCoordinator::prepare(session, groups, FileUrl::fromLocalPath(box.resultRoot()), box.journalBase(),
                                                checker, {}, options);
}

TrashPreparation TrashTransactionTest::prepare(const QStringList& files, const TrashTransactionOptions& options)
{
    return prepare(TrashSandbox::singleGroups(files), options);
}

TrashPreparation TrashTransactionTest::commit(const TrashPreparation& preparation, const TrashTransactionOptions& options)
{
    return TrashTransactionCoordinator::commit(preparation, box.journalBase(), service, receipts, {}, options);
}

QStringList TrashTransactionTest::trashed() const
{
    return QDir(box.homeTrash() + QLatin1String("/files")).entryList(QDir::Files | QDir::Hidden | QDir::System);
}

QStringList TrashTransactionTest::trashInfos() const
{
    return QDir(box.homeTrash() + QLatin1String("/info")).entryList(QDir::Files | QDir::Hidden | QDir::System);
}

QList<TrashTransactionState> TrashTransactionTest::journaledStates(const QUuid& entryID) const
{
    QList<TrashTransactionState> states;
    for (const auto& record : DurableTrashJournal::verifyFile(DurableTrashJournal::journalPath(box.journalBase(), session)))
        if (record.payload.entry.id == entryID)
            states.append(record.payload.state);
    return states;
}

TrashEntry journalEntryNamed(const QString& name)
{
    TrashEntry entry;
    entry.id = QUuid::createUuid();
    entry.groupID = QUuid::createUuid();
    entry.sourceURL = FileUrl::fromLocalPath(QStringLiteral("/fotos/") + name);
    entry.stagingURL = FileUrl::fromLocalPath(QStringLiteral("/ergebnis/Sicherheitsablage/") + name);
    entry.sourceIdentity.path = entry.sourceURL.path();
    entry.sourceIdentity.size = 1234;
    entry.sourceIdentity.device = 2049;
    entry.sourceIdentity.inode = 77;
    entry.sourceIdentity.linkCount = 1;
    entry.sourceIdentity.sha256 = QString(64, QLatin1Char('a'));
    entry.sourceIdentity.resourceIdentifier = QStringLiteral("2049:77");
    return entry;
}

SampleJournal writeSampleJournal(const QString& journalBase, const QUuid& session)
{
    using State = TrashTransactionState;
    DurableTrashJournal journal(journalBase, session);
    SampleJournal sample{journalEntryNamed(QStringLiteral("Übersicht 1.jpg")), journalEntryNamed(QStringLiteral("b%20.cr2"))};
    journal.append(State::planned, sample.first, session);
    journal.append(State::planned, sample.second, session);
    journal.append(State::stagingIntent, sample.first, session);
    sample.first.message = QStringLiteral("„zitiert“");
    journal.append(State::stagedVerified, sample.first, session);
    journal.append(State::stagingIntent, sample.second, session);
    journal.append(State::stagedVerified, sample.second, session);
    journal.append(State::deferred, sample.first, session);
    return sample;
}

} // namespace kestrava::test
