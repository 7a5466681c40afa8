#include "CliCommand.h"

#include <QCoreApplication>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Kestrava"));
    return kestrava::cli::run(QCoreApplication::arguments().mid(1));
}
