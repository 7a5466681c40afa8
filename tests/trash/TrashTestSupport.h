#pragma once

// A sandbox for trash tests: originals, result folder, journal base and a private
// XDG_DATA_HOME (so the home trash is a temporary folder on the same file system).

#include "PosixHelpers.h"
#include "TestSupport.h"

#include "trash/FreedesktopTrash.h"
#include "trash/TrashLookup.h"
#include "trash/TrashTransactionCoordinator.h"
#include "trash/TrashTransactionError.h"
#include "trash/TrashTypes.h"

#include <QByteArray>
#include <QString>
#include <gtest/gtest.h>

namespace kestrava::test {

class TrashSandbox {
public:
    TrashSandbox();
    TrashSandbox(const TrashSandbox&) = delete;
    TrashSandbox& operator=(const TrashSandbox&) = delete;

    QString source(const QString& name) const { return tree.path(QStringLiteral("photos/") + name); }
    QString addOriginal(const QString& name, const QByteArray& bytes);
    QString resultRoot() const { return tree.path(QStringLiteral("result")); }
    QString journalBase() const { return tree.path(QStringLiteral("journal")); }
    QString dataHome() const { return tree.path(QStringLiteral("xdg")); }
    QString homeTrash() const { return dataHome() + QLatin1String("/Trash"); }

    // One group per file, or all files in one group.
    static QList<TrashGroup> singleGroups(const QStringList& paths);
    static TrashGroup oneGroup(const QStringList& paths);

    TempTree tree;

private:
    ScopedEnvironment environment_;
};

// A journal entry for the photo `name` below /fotos, with a made-up identity.
TrashEntry journalEntryNamed(const QString& name);

// Two entries, seven records, a quoted message and a name needing escapes: a journal with
// something in the middle to break. Returns the entries as last journaled.
struct SampleJournal {
    TrashEntry first;
    TrashEntry second;
};
SampleJournal writeSampleJournal(const QString& journalBase, const QUuid& session);

// The trash transaction on a sandbox with the real Trash of the desktop: the fixture of every
// test that prepares and commits.
class TrashTransactionTest : public ::testing::Test {
protected:
    TrashPreparation prepare(const QList<TrashGroup>& groups, const TrashTransactionOptions& options = {});
    // Each file a group of its own.
    TrashPreparation prepare(const QStringList& files, const TrashTransactionOptions& options = {});
    TrashPreparation commit(const TrashPreparation& preparation, const TrashTransactionOptions& options = {});

    // What the home Trash holds: names in its files and info folders.
    QStringList trashed() const;
    QStringList trashInfos() const;
    // Every state journaled for `entryID`, in order.
    QList<TrashTransactionState> journaledStates(const QUuid& entryID) const;

    // The kind of the TrashTransactionError `call` throws; a test failure when it throws none.
    template <class Call>
    TrashTransactionError::Kind failure(Call call)
    {
        try {
            call();
        } catch (const TrashTransactionError& error) {
            return error.kind();
        }
        ADD_FAILURE() << "no TrashTransactionError";
        return TrashTransactionError::Kind::fileUnavailable;
    }

    TrashSandbox box;
    QUuid session = QUuid::createUuid();
    FreedesktopTrashCapabilityChecker checker;
    FreedesktopTrashService service;
    FreedesktopTrashReceipts receipts;
};

} // namespace kestrava::test
