#pragma once

// A shoot in the trash mode for command-line tests: four pairs and three single JPEGs, of
// which IMG_0001 (JPEG and RAW) and SOLO_0002 are rejected, in a private XDG_DATA_HOME so the
// home Trash is the test's own.

#include "CliTestSupport.h"

#include "platform/Sha256.h"

#include <QDir>
#include <QFileInfo>

namespace kestrava::test {

// Decides IMG_0001 (JPEG and RAW) and SOLO_0002 delete, IMG_0002 maybe, everything else keep.
inline QString writeDecisions(TempTree& tree, int pairs, int singles)
{
    QByteArray csv = "Datei,Format,Entscheidung,Kopierstatus,Nachweis\n";
    for (int i = 1; i <= pairs; ++i)
        csv += QStringLiteral("IMG_%1.JPG,JPEG,%2,,\n")
                   .arg(i, 4, 10, QLatin1Char('0'))
                   .arg(i == 1 ? QStringLiteral("Aussortiert") : i == 2 ? QStringLiteral("Vielleicht") : QStringLiteral("Behalten"))
                   .toUtf8();
    for (int i = 1; i <= singles; ++i)
        csv += QStringLiteral("SOLO_%1.JPG,JPEG,%2,,\n")
                   .arg(i, 4, 10, QLatin1Char('0'))
                   .arg(i == 2 ? QStringLiteral("Aussortiert") : QStringLiteral("Behalten"))
                   .toUtf8();
    return tree.write(QStringLiteral("liste.csv"), csv);
}

inline const QStringList rejected{QStringLiteral("IMG_0001.JPG"), QStringLiteral("IMG_0001.NEF"), QStringLiteral("SOLO_0002.JPG")};

struct TrashRig {
    TempTree tree;
    QString source = tree.path(QStringLiteral("Karte"));
    ShootDigests shoot = writeShoot(source, 4, 3);
    QProcessEnvironment environment = isolatedEnvironment(tree.root());
    QString store = tree.path(QStringLiteral("S"));
    QString resultFolder = tree.path(QStringLiteral("Ziel/Lauf"));
    QString trashFiles = environment.value(QStringLiteral("XDG_DATA_HOME")) + QStringLiteral("/Trash/files");

    QStringList sort() const
    {
        QStringList arguments = sortArguments(source, tree.path(QStringLiteral("Ziel")), store, QStringLiteral("organizeAndTrash"));
        const qsizetype all = arguments.indexOf(QStringLiteral("--all"));
        arguments[all] = QStringLiteral("--decisions");
        arguments[all + 1] = writeDecisions(const_cast<TempTree&>(tree), 4, 3);
        return arguments;
    }
    CliResult trash(const QString& action) const
    {
        return runCli({QStringLiteral("trash"), action, QStringLiteral("--store"), store}, environment);
    }
    QList<QByteArray> rejectedDigests() const { return digestsOf(true); }
    QList<QByteArray> keptDigests() const { return digestsOf(false); }
    QList<QByteArray> digestsOf(bool rejectedOnes) const
    {
        QList<QByteArray> digests;
        for (auto it = shoot.begin(); it != shoot.end(); ++it)
            if (rejected.contains(it.value()) == rejectedOnes)
                digests.append(it.key());
        std::sort(digests.begin(), digests.end());
        return digests;
    }
    // The result folder without the safety folder: what the organising step produced.
    QList<QByteArray> organizedDigests() const
    {
        QList<QByteArray> digests;
        for (const QString& relative : filesBelow(resultFolder))
            if (!relative.startsWith(QStringLiteral("Sicherheitsablage/")))
                digests.append(Sha256::hash(readFile(resultFolder + QLatin1Char('/') + relative)));
        std::sort(digests.begin(), digests.end());
        return digests;
    }
};

} // namespace kestrava::test
