// Test-only: runs one trash operation in its own process so that a test can kill it at a
// named step (KESTRAVA_CRASH_AT) or with SIGKILL, and then check what a restart finds.
//
//   trash_crash_child prepare SESSION RESULT JOURNALBASE OUT.json GROUP...   (GROUP: paths joined by "|")
//   trash_crash_child commit JOURNALBASE IN.json
//
// Exit 0 on success, 1 with the message on standard error, 86 at a crash point.

#include "trash/FreedesktopTrash.h"
#include "model/KestravaError.h"
#include "trash/TrashJson.h"
#include "trash/TrashTransactionCoordinator.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <cstdio>

using namespace kestrava;

namespace {

QList<TrashGroup> parseGroups(const QStringList& groupTexts)
{
    QList<TrashGroup> groups;
    for (const QString& text : groupTexts) {
        TrashGroup group;
        group.id = QUuid::createUuid();
        for (const QString& path : text.split(QLatin1Char('|'))) {
            const FileUrl url = FileUrl::fromLocalPath(path);
            group.members.append({url, url.fileName()});
        }
        groups.append(group);
    }
    return groups;
}

void save(const QString& path, const TrashPreparation& preparation)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(QJsonDocument(toJson(preparation)).toJson(QJsonDocument::Compact));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    try {
        if (args.size() >= 6 && args[0] == QLatin1String("prepare")) {
            const TrashPreparation preparation = TrashTransactionCoordinator::prepare(
                QUuid::fromString(args[1]), parseGroups(args.mid(5)), FileUrl::fromLocalPath(args[2]), args[3],
                FreedesktopTrashCapabilityChecker());
            save(args[4], preparation);
            return 0;
        }
        if (args.size() == 3 && args[0] == QLatin1String("commit")) {
            QFile file(args[2]);
            if (!file.open(QIODevice::ReadOnly))
                return 2;
            const TrashPreparation preparation = trashPreparationFromJson(QJsonDocument::fromJson(file.readAll()).object());
            TrashTransactionCoordinator::commit(preparation, args[1], FreedesktopTrashService(), FreedesktopTrashReceiptValidator());
            return 0;
        }
    } catch (const KestravaError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 2;
}
