#include "ExecutionSupport.h"

#include "CliCommand.h"
#include "CliWording.h"
#include "model/Json.h"
#include "execution/SortResultJson.h"
#include "execution/StoragePreflight.h"
#include "trash/TrashJson.h"
#include "workflow/KestravaViewModel.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace kestrava::cli {

namespace {

// Self-pipe: the signal handler may only write(2); the event loop reads and cancels.
int signalPipe[2] = {-1, -1};

extern "C" void onStopSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

class StopOnSignal {
public:
    explicit StopOnSignal(KestravaViewModel& viewModel)
    {
        if (signalPipe[0] < 0 && ::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
            return;
        notifier_ = std::make_unique<QSocketNotifier>(signalPipe[0], QSocketNotifier::Read);
        QObject::connect(notifier_.get(), &QSocketNotifier::activated, [&viewModel] {
            char buffer[16];
            while (::read(signalPipe[0], buffer, sizeof buffer) > 0) {
            }
            err() << "\n" << stopRequested() << "\n";
            err().flush();
            viewModel.execution()->cancelExecution();
        });
        struct sigaction action {};
        action.sa_handler = &onStopSignal;
        sigemptyset(&action.sa_mask);
        ::sigaction(SIGINT, &action, &previousInt_);
        ::sigaction(SIGTERM, &action, &previousTerm_);
        installed_ = true;
    }

    ~StopOnSignal()
    {
        if (!installed_)
            return;
        ::sigaction(SIGINT, &previousInt_, nullptr);
        ::sigaction(SIGTERM, &previousTerm_, nullptr);
    }

private:
    std::unique_ptr<QSocketNotifier> notifier_;
    struct sigaction previousInt_ {};
    struct sigaction previousTerm_ {};
    bool installed_ = false;
};

} // namespace

std::optional<QString> waitUntilExecutable(KestravaViewModel& viewModel)
{
    if (!viewModel.execution()->isCheckingStorage() && !viewModel.execution()->currentStorageEstimate())
        viewModel.execution()->refreshStorageEstimate();
    // A run starts only once the capture dates of everything it sorts were read.
    while (viewModel.execution()->isCheckingStorage() || viewModel.loading()->isPreparingMetadata())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    QCoreApplication::processEvents();
    const auto& estimate = viewModel.execution()->currentStorageEstimate();
    if (!viewModel.execution()->canExecute() && estimate && !estimate->isSufficient)
        return estimate->message;
    return std::nullopt;
}

bool runExecution(KestravaViewModel& viewModel, const std::function<void()>& start)
{
    StopOnSignal stop(viewModel);
    bool finished = false;
    const QMetaObject::Connection connection =
        QObject::connect(viewModel.execution(), &ExecutionStage::executionFinished, [&finished] { finished = true; });
    start();
    // An operation that refuses to start says so in the alert and starts no task.
    const bool started = finished || viewModel.execution()->isApplying() || !viewModel.execution()->executionTask().isFinished();
    while (started && !finished)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    QObject::disconnect(connection);
    // Continuations queued by the end of the task run first; then the session's new status is
    // made durable, so a later resume sees what this run left.
    QCoreApplication::processEvents();
    viewModel.flushSessionBeforeTerminationAndWait();
    QCoreApplication::processEvents();
    return started;
}

QJsonObject executionSummary(const KestravaViewModel& viewModel)
{
    QJsonObject summary =
        viewModel.execution()->lastSortResult() ? kestrava::toJson(*viewModel.execution()->lastSortResult()) : QJsonObject();
    const auto& destination = viewModel.destinationFolder();
    summary.insert(QLatin1String("destinationFolder"),
                   destination ? QJsonValue(destination->toUrlString()) : QJsonValue(QJsonValue::Null));
    if (const auto& preparation = viewModel.trash()->preparedTrash())
        summary.insert(QLatin1String("trashPreparation"), kestrava::toJson(*preparation));
    return summary;
}

bool succeeded(const SortResult& result)
{
    if (!result.errors.isEmpty() || result.pendingCount > 0 || result.cancelled)
        return false;
    return std::none_of(result.records.begin(), result.records.end(), [](const ExecutionRecord& record) {
        return record.status == ExecutionActionStatus::failed || record.status == ExecutionActionStatus::pending;
    });
}

bool allTrashed(const TrashPreparation& preparation)
{
    return std::all_of(preparation.entries.begin(), preparation.entries.end(), [](const TrashEntry& entry) {
        return entry.state == TrashTransactionState::trashedConfirmed
               || entry.state == TrashTransactionState::cleanupIntent
               || entry.state == TrashTransactionState::stageCleaned;
    });
}

bool runSucceeded(const KestravaViewModel& viewModel, bool committed)
{
    if (viewModel.alertMessage())
        return false;
    if (const auto& result = viewModel.execution()->lastSortResult(); !result || !succeeded(*result))
        return false;
    if (const auto& preparation = viewModel.trash()->preparedTrash())
        return committed ? allTrashed(*preparation) : preparation->needsReviewCount() == 0;
    return true;
}

void reportMessages(const KestravaViewModel& viewModel)
{
    QStringList messages;
    if (viewModel.alertMessage())
        messages.append(*viewModel.alertMessage());
    if (const auto& result = viewModel.execution()->lastSortResult())
        for (const QString& error : result->errors)
            if (!messages.contains(error))
                messages.append(error);
    if (const auto& preparation = viewModel.trash()->preparedTrash())
        for (const TrashEntry& entry : preparation->entries)
            if (entry.message && !messages.contains(*entry.message))
                messages.append(*entry.message);
    for (const QString& message : messages)
        err() << message << "\n";
    err().flush();
}

} // namespace kestrava::cli
