#pragma once

// Helpers shared by all test executables: temporary trees, byte-level damage to files,
// running the real kestrava-cli binary, and the location of the real camera samples.

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace kestrava::test {

// A temporary folder removed at the end of the test. `path(rel)` joins a relative path.
class TempTree {
public:
    TempTree();
    QString root() const { return dir_.path(); }
    QString path(const QString& relative) const;
    // Writes `bytes` to `relative`, creating parent folders; returns the absolute path.
    QString write(const QString& relative, const QByteArray& bytes = "x");
    QString mkdir(const QString& relative);

private:
    QTemporaryDir dir_;
};

// Sets or unsets environment variables for one test and restores them when it ends.
class ScopedEnvironment {
public:
    ScopedEnvironment() = default;
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
    ~ScopedEnvironment();
    void set(const char* name, const QByteArray& value);
    void unset(const char* name);

private:
    struct Saved {
        const char* name;
        QByteArray value;
        bool wasSet;
    };
    QList<Saved> saved_;
};

QByteArray readFile(const QString& path);
// Files below `root` (hidden ones too, run-folder markers left out), relative, sorted.
QStringList filesBelow(const QString& root);
void writeFile(const QString& path, const QByteArray& bytes);
// Damage helpers for durability tests.
void truncateFile(const QString& path, qint64 newSize);
void flipByte(const QString& path, qint64 offset);
void swapLines(const QString& path, int first, int second);

struct CliResult {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
    bool crashed = false; // ended by a signal rather than by exiting
};
// Path of the built kestrava-cli (from the KESTRAVA_CLI environment variable set by ctest).
QString cliPath();
CliResult runCli(const QStringList& arguments, const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment(),
                 int timeoutMs = 120000);

// The shared real camera files, or an empty string when they are not there (tests then skip).
QString cameraTestData();

} // namespace kestrava::test
