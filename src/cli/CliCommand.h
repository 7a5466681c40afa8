#pragma once

// kestrava-cli subcommands register themselves here, one file each:
//
//   static const kestrava::cli::Registration scan{"scan", "scan DIR", &runScan};
//
// Exit codes: 0 success, 1 failure (German message on standard error), 2 usage error.

#include <QHash>
#include <QStringList>
#include <QTextStream>

namespace kestrava::cli {

using CommandFunction = int (*)(const QStringList& arguments);

struct Registration {
    Registration(const char* name, const char* usage, CommandFunction run);
};

enum ExitCode { success = 0, failure = 1, usageError = 2 };

// Runs the subcommand named by the first argument with the rest; prints the command list and
// returns usageError when there is none or it is unknown.
int run(QStringList arguments);

QTextStream& out();
QTextStream& err();

// Prints "Aufruf: kestrava-cli <usage>" to standard error and returns usageError.
int usage(const char* usageText);
// Prints the German message on standard error and returns failure.
int fail(const QString& message);
// Writes compact JSON (object or array) followed by a newline to standard output.
void printJson(const QByteArray& compactJson);

// Small option parser for "--name value" and "--flag" forms; positional arguments keep their order.
class Arguments {
public:
    // `valueOptions` take a value, `flags` do not. Unknown options make ok() false.
    Arguments(const QStringList& arguments, const QStringList& valueOptions, const QStringList& flags = {});
    bool ok() const { return ok_; }
    const QStringList& positional() const { return positional_; }
    bool has(const QString& option) const;
    QString value(const QString& option, const QString& fallback = {}) const;

private:
    bool ok_ = true;
    QStringList positional_;
    QHash<QString, QString> values_;
};

} // namespace kestrava::cli
