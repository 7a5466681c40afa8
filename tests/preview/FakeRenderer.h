#pragma once

// A renderer for pipeline tests: records calls, can hold each render until the test lets it
// go (or the pipeline cancels it), and can fail or throw for chosen files.

#include "preview/PreviewPipeline.h"

#include <QFileInfo>
#include <QSet>
#include <QStringList>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace kestrava::test {

class FakeRenderer {
public:
    bool holding = false;
    QSet<QString> failing;  // file names
    QSet<QString> throwing; // file names

    PreviewPipeline::Renderer function()
    {
        return [this](const QString& path, int size, const PreviewRenderer::CancelCheck& isCanceled) { return render(path, size, isCanceled); };
    }

    PreviewResult render(const QString& path, int size, const PreviewRenderer::CancelCheck& isCanceled)
    {
        const QString name = QFileInfo(path).fileName();
        std::unique_lock lock(mutex_);
        calls_.append(name);
        ++running_;
        changed_.notify_all();
        while (holding && permits_ == 0 && !(isCanceled && isCanceled()))
            changed_.wait_for(lock, std::chrono::milliseconds(2));
        if (permits_ > 0 && !(isCanceled && isCanceled()))
            --permits_;
        --running_;
        cancelledSeen_ += isCanceled && isCanceled() ? 1 : 0;
        changed_.notify_all();
        if (throwing.contains(name))
            throw std::runtime_error("renderer failure");
        if (failing.contains(name))
            return std::nullopt;
        QImage image(size, size / 2, QImage::Format_RGB32);
        image.fill(Qt::gray);
        return PreviewPayload::of(image, PreviewSource::decoded);
    }

    void letOneFinish()
    {
        std::lock_guard lock(mutex_);
        ++permits_;
        changed_.notify_all();
    }
    void letAllFinish()
    {
        std::lock_guard lock(mutex_);
        holding = false;
        changed_.notify_all();
    }
    // Waits until at least `count` renders have started; the limit only stops a hang.
    bool waitForCalls(int count)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, hangLimit, [&] { return calls_.size() >= count; });
    }
    bool waitUntilIdle()
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, hangLimit, [&] { return running_ == 0; });
    }
    QStringList calls()
    {
        std::lock_guard lock(mutex_);
        return calls_;
    }
    int running()
    {
        std::lock_guard lock(mutex_);
        return running_;
    }
    int cancelledSeen()
    {
        std::lock_guard lock(mutex_);
        return cancelledSeen_;
    }

private:
    static constexpr std::chrono::seconds hangLimit{60};
    std::mutex mutex_;
    std::condition_variable changed_;
    QStringList calls_;
    int running_ = 0;
    int permits_ = 0;
    int cancelledSeen_ = 0;
};

} // namespace kestrava::test
