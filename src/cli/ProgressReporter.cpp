#include "ProgressReporter.h"

#include "CliCommand.h"
#include "CliWording.h"
#include "workflow/KestravaViewModel.h"

#include <unistd.h>

namespace kestrava::cli {

ProgressReporter::ProgressReporter(KestravaViewModel& viewModel)
    : viewModel_(viewModel)
    , terminal_(::isatty(STDERR_FILENO) == 1)
{
    progressConnection_ = QObject::connect(viewModel.execution(), &ExecutionStage::sortProgressChanged, [this] { update(false); });
    titleConnection_ = QObject::connect(viewModel.execution(), &ExecutionStage::progressTitleChanged, [this] { update(false); });
}

ProgressReporter::~ProgressReporter()
{
    finish();
}

void ProgressReporter::finish()
{
    if (!progressConnection_ && !titleConnection_)
        return;
    update(true);
    QObject::disconnect(progressConnection_);
    QObject::disconnect(titleConnection_);
    progressConnection_ = {};
    titleConnection_ = {};
    if (barOpen_) {
        err() << "\n";
        err().flush();
        barOpen_ = false;
    }
}

void ProgressReporter::update(bool force)
{
    const auto& progress = viewModel_.execution()->progress();
    const QString title = viewModel_.execution()->progressTitle();
    if (!progress && title.isEmpty())
        return;
    // Phase names are the German labels the screens show.
    QString heading = title;
    if (progress)
        heading += (heading.isEmpty() ? QString() : QStringLiteral(" – "))
            + phaseHeading(*progress, viewModel_.execution()->lastSortResult() ? &*viewModel_.execution()->lastSortResult() : nullptr);

    if (terminal_) {
        QString line = heading;
        if (progress)
            line += QLatin1Char(' ') + progressBar(*progress) + QLatin1Char(' ') + describeProgress(*progress);
        // Carriage return and erase-to-end-of-line redraw the one line in place.
        err() << "\r" << line << "\x1b[K";
        err().flush();
        barOpen_ = true;
        return;
    }
    const bool newHeading = heading != lastHeading_;
    // A log or a pipe gets at most one line a second, and one at every new heading.
    if (!force && !newHeading && sinceLastLine_.isValid() && sinceLastLine_.elapsed() < 1000)
        return;
    write(progress ? heading + QStringLiteral(": ") + describeProgress(*progress) : heading);
    lastHeading_ = heading;
    sinceLastLine_.start();
}

void ProgressReporter::write(const QString& line)
{
    err() << line << "\n";
    err().flush();
}

} // namespace kestrava::cli
