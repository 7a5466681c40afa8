#pragma once

// Shows a running sort on standard error: on a terminal one bar redrawn in place, otherwise
// plain lines at most once per second and at every change of phase or title, so a log file
// stays readable and a pipe is not flooded.

#include "CliWording.h"

#include <QElapsedTimer>
#include <QMetaObject>
#include <optional>

namespace kestrava {
class KestravaViewModel;
}

namespace kestrava::cli {

class ProgressReporter {
public:
    // Follows the view model's progress and title until destroyed or finish() is called.
    explicit ProgressReporter(KestravaViewModel& viewModel);
    ~ProgressReporter();
    ProgressReporter(const ProgressReporter&) = delete;
    ProgressReporter& operator=(const ProgressReporter&) = delete;

    // Shows the last state once more and ends the bar's line.
    void finish();

private:
    void update(bool force);
    void write(const QString& line);

    KestravaViewModel& viewModel_;
    bool terminal_ = false;
    bool barOpen_ = false;
    QElapsedTimer sinceLastLine_;
    QString lastHeading_;
    QMetaObject::Connection progressConnection_;
    QMetaObject::Connection titleConnection_;
};

} // namespace kestrava::cli
