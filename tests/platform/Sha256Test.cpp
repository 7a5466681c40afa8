#include "platform/Sha256.h"

#include "FailureHelpers.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace kestrava;
using kestrava::test::fileErrorThrownBy;
using kestrava::test::TempTree;
using Op = FileOps::Op;

TEST(Sha256, knownVectors)
{
    EXPECT_EQ(Sha256::hex(Sha256::hash("")), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(Sha256::hex(Sha256::hash("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Sha256::hex(Sha256::hash("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(Sha256, incrementalEqualsOneShotAndResetsAfterFinalize)
{
    Sha256 hasher;
    hasher.update("a");
    hasher.update(QByteArrayView("bc"));
    EXPECT_EQ(hasher.finalize(), Sha256::hash("abc"));
    EXPECT_EQ(hasher.finalize(), Sha256::hash(""));

    Sha256 moved = std::move(hasher);
    moved.update("abc");
    EXPECT_EQ(moved.finalize(), Sha256::hash("abc"));
}

TEST(Sha256OfFile, matchesTheInMemoryDigestAcrossChunkBoundaries)
{
    TempTree tree;
    QByteArray content((4 << 20) * 2 + 17, Qt::Uninitialized);
    for (qsizetype i = 0; i < content.size(); ++i)
        content[i] = char((i * 7919) >> 3);
    const QString path = tree.write("photo.cr3", content);
    EXPECT_EQ(sha256OfFile(path), Sha256::hash(content));
    EXPECT_EQ(sha256OfFile(tree.write("empty", "")), Sha256::hash(""));
}

TEST(Sha256OfFile, cancellationBetweenChunksGivesAnEmptyDigest)
{
    TempTree tree;
    const QString path = tree.write("photo", QByteArray(9 << 20, 'x'));
    int asked = 0;
    FaultInjectingFileOps ops;
    EXPECT_TRUE(sha256OfFile(path, [&] { return ++asked == 2; }, ops).isEmpty());
    EXPECT_EQ(ops.callCount(Op::read), 1);
}

TEST(Sha256OfFile, readErrorsAndMissingFilesThrowWithThePath)
{
    TempTree tree;
    const QString path = tree.write("photo", QByteArray(5 << 20, 'x'));
    FaultInjectingFileOps ops;
    ops.failAt(Op::read, 2, EIO);
    const FileSystemError error = fileErrorThrownBy([&] { sha256OfFile(path, {}, ops); });
    EXPECT_EQ(error.errorNumber(), EIO);
    EXPECT_EQ(error.path(), path);
    EXPECT_EQ(fileErrorThrownBy([&] { sha256OfFile(tree.path("missing")); }).errorNumber(), ENOENT);
}
