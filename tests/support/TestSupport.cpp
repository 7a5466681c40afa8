#include "TestSupport.h"

#include "model/RunFolderMarker.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <stdexcept>

namespace kestrava::test {

TempTree::TempTree()
{
    if (!dir_.isValid())
        throw std::runtime_error("cannot create temporary folder");
}

QString TempTree::path(const QString& relative) const
{
    return relative.isEmpty() ? root() : root() + QLatin1Char('/') + relative;
}

QString TempTree::write(const QString& relative, const QByteArray& bytes)
{
    const QString full = path(relative);
    QDir().mkpath(QFileInfo(full).path());
    writeFile(full, bytes);
    return full;
}

QString TempTree::mkdir(const QString& relative)
{
    const QString full = path(relative);
    QDir().mkpath(full);
    return full;
}

void ScopedEnvironment::set(const char* name, const QByteArray& value)
{
    saved_.append({name, qgetenv(name), qEnvironmentVariableIsSet(name)});
    qputenv(name, value);
}

void ScopedEnvironment::unset(const char* name)
{
    set(name, {});
    qunsetenv(name);
}

ScopedEnvironment::~ScopedEnvironment()
{
    // Newest first, so a variable set twice ends as it was before the first.
    for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) {
        if (it->wasSet)
            qputenv(it->name, it->value);
        else
            qunsetenv(it->name);
    }
}

QStringList filesBelow(const QString& root)
{
    QStringList result;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        // Every run folder holds its empty marker; what tests compare is the photos.
        if (it.fileName() != QLatin1String(runFolderMarkerName))
            result.append(QDir(root).relativeFilePath(path));
    }
    result.sort();
    return result;
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + path.toStdString());
    return file.readAll();
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

void truncateFile(const QString& path, qint64 newSize)
{
    QFile file(path);
    if (!file.resize(newSize))
        throw std::runtime_error("cannot truncate " + path.toStdString());
}

void flipByte(const QString& path, qint64 offset)
{
    QByteArray bytes = readFile(path);
    if (offset < 0)
        offset += bytes.size();
    bytes[offset] = char(bytes[offset] ^ 0x01);
    writeFile(path, bytes);
}

void swapLines(const QString& path, int first, int second)
{
    QList<QByteArray> lines = readFile(path).split('\n');
    lines.swapItemsAt(first, second);
    writeFile(path, lines.join('\n'));
}

QString cliPath()
{
    return qEnvironmentVariable("KESTRAVA_CLI");
}

CliResult runCli(const QStringList& arguments, const QProcessEnvironment& environment, int timeoutMs)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(cliPath(), arguments);
    CliResult result;
    if (!process.waitForStarted(10000))
        return result;
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        return result;
    }
    result.crashed = process.exitStatus() == QProcess::CrashExit;
    result.exitCode = result.crashed ? -1 : process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

QString cameraTestData()
{
    const QString dir = qEnvironmentVariable("KESTRAVA_CAMERA_TESTDATA");
    return !dir.isEmpty() && QFileInfo(dir + QStringLiteral("/MANIFEST.tsv")).exists() ? dir : QString();
}

} // namespace kestrava::test
