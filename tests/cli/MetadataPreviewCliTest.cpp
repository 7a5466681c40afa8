// kestrava-cli metadata and preview handed a FIFO named like a photo: they say so in German
// and fail instead of waiting for a writer that never comes.

#include "TestSupport.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace kestrava::test;

TEST(MetadataPreviewCli, aFifoNamedLikeAPhotoIsNamedAndFailsAtOnce)
{
    TempTree tree;
    const QString fifo = tree.path(QStringLiteral("IMG_1.jpg"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0644), 0);
    const QString missing = tree.path(QStringLiteral("fehlt.jpg"));

    const CliResult metadata = runCli({"metadata", fifo, missing}, QProcessEnvironment::systemEnvironment(), 30000);
    ASSERT_EQ(metadata.exitCode, 1) << "hung or crashed: " << metadata.err.toStdString();
    EXPECT_TRUE(metadata.err.contains("„IMG_1.jpg“ ist keine gewöhnliche Datei")) << metadata.err.toStdString();
    const QJsonArray entries = QJsonDocument::fromJson(metadata.out).array();
    ASSERT_EQ(entries.size(), 2) << metadata.out.toStdString();
    EXPECT_TRUE(entries[0].toObject().value(QLatin1String("captureDate")).isNull());

    const QString out = tree.path(QStringLiteral("vorschau.jpg"));
    const CliResult preview =
        runCli({"preview", fifo, "--out", out}, QProcessEnvironment::systemEnvironment(), 30000);
    ASSERT_EQ(preview.exitCode, 1) << "hung or crashed: " << preview.err.toStdString();
    EXPECT_TRUE(preview.err.contains("keine gewöhnliche Datei")) << preview.err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(out));
}
