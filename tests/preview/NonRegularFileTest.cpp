// A FIFO or device named like a photo: every reader refuses it at once instead of waiting for
// a writer that never comes.

#include "TestSupport.h"
#include "preview/ExifDates.h"
#include "preview/PreviewRenderer.h"
#include "preview/RawSources.h"

#include <QFile>
#include <QFileInfo>
#include <chrono>
#include <fcntl.h>
#include <future>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

QString makeFifo(const TempTree& tree, const QString& name)
{
    const QString path = tree.path(name);
    EXPECT_EQ(::mkfifo(QFile::encodeName(path).constData(), 0644), 0);
    return path;
}

// Runs `read` on another thread; a read still blocked after a few seconds fails the test and
// is released by opening the FIFO for writing, so the test process never hangs.
template <class Read>
void expectPromptRefusal(const QString& fifo, const char* what, Read read)
{
    auto result = std::async(std::launch::async, read);
    if (result.wait_for(std::chrono::seconds(10)) == std::future_status::timeout) {
        ADD_FAILURE() << what << " blocked on a FIFO";
        const int writer = ::open(QFile::encodeName(fifo).constData(), O_WRONLY | O_NONBLOCK);
        if (writer >= 0)
            ::close(writer);
    }
    EXPECT_FALSE(result.get()) << what;
}

} // namespace

TEST(NonRegularFile, everyReaderRefusesAFifoAtOnce)
{
    TempTree tree;
    for (const QString& name : {QStringLiteral("pipe.jpg"), QStringLiteral("pipe.CR3")}) {
        const QString fifo = makeFifo(tree, name);
        expectPromptRefusal(fifo, "render", [&] { return PreviewRenderer::render(fifo, 512).has_value(); });
        expectPromptRefusal(fifo, "capture date", [&] { return readCaptureDate(fifo).has_value(); });
        expectPromptRefusal(fifo, "embedded preview",
                            [&] { return preview::bestEmbeddedJpeg(fifo, 512, nullptr).has_value(); });
        expectPromptRefusal(fifo, "development",
                            [&] { return !preview::developHalfSize(fifo, 512, {}).isNull(); });
    }
    // A device never ends: reading /dev/zero as a photo would fill memory.
    expectPromptRefusal(QStringLiteral("/dev/zero"), "render of a device",
                        [] { return PreviewRenderer::render(QStringLiteral("/dev/zero"), 512).has_value(); });
}
