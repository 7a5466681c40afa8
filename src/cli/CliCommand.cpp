#include "CliCommand.h"
#include "CliWording.h"

#include <QFile>
#include <map>

namespace kestrava::cli {

namespace {

struct Entry {
    const char* usage;
    CommandFunction run;
};

std::map<QString, Entry>& registry()
{
    static std::map<QString, Entry> commands;
    return commands;
}

int printUsage()
{
    err() << commandListHeading() << "\n";
    for (const auto& [name, entry] : registry())
        err() << commandListEntry(QString::fromUtf8(entry.usage)) << "\n";
    err().flush();
    return usageError;
}

} // namespace

Registration::Registration(const char* name, const char* usageText, CommandFunction run)
{
    registry().emplace(QString::fromUtf8(name), Entry{usageText, run});
}

QTextStream& out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream& err()
{
    static QTextStream stream(stderr);
    return stream;
}

int usage(const char* usageText)
{
    err() << usageLine(QString::fromUtf8(usageText)) << "\n";
    err().flush();
    return usageError;
}

int fail(const QString& message)
{
    err() << message << "\n";
    err().flush();
    return failure;
}

void printJson(const QByteArray& compactJson)
{
    QFile stdoutFile;
    if (stdoutFile.open(stdout, QIODevice::WriteOnly)) {
        stdoutFile.write(compactJson);
        stdoutFile.write("\n");
        stdoutFile.flush();
    }
}

Arguments::Arguments(const QStringList& arguments, const QStringList& valueOptions, const QStringList& flags)
{
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument.startsWith(QLatin1String("--")) && argument.size() > 2) {
            if (valueOptions.contains(argument)) {
                if (i + 1 >= arguments.size()) {
                    ok_ = false;
                    return;
                }
                values_.insert(argument, arguments[++i]);
            } else if (flags.contains(argument)) {
                values_.insert(argument, QString());
            } else {
                ok_ = false;
                return;
            }
        } else {
            positional_.append(argument);
        }
    }
}

bool Arguments::has(const QString& option) const
{
    return values_.contains(option);
}

QString Arguments::value(const QString& option, const QString& fallback) const
{
    return values_.value(option, fallback);
}

int run(QStringList arguments)
{
    if (arguments.isEmpty() || arguments.first() == QLatin1String("--help") || arguments.first() == QLatin1String("-h"))
        return printUsage();
    const QString name = arguments.takeFirst();
    const auto it = registry().find(name);
    if (it == registry().end())
        return printUsage();
    return it->second.run(arguments);
}

} // namespace kestrava::cli
