#include "CliCommand.h"

#include <QCoreApplication>

namespace {
int runVersion(const QStringList&)
{
    kestrava::cli::out() << "kestrava-cli " << KESTRAVA_VERSION << "\n";
    return kestrava::cli::success;
}
const kestrava::cli::Registration registration{"version", "version", &runVersion};
} // namespace
