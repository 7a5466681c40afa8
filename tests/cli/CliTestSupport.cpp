#include "CliTestSupport.h"

#include "model/Json.h"
#include "platform/Sha256.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QRandomGenerator>

namespace kestrava::test {

namespace {

QByteArray uniqueBytes(QRandomGenerator& random, int index, int maxBytes)
{
    QByteArray bytes(int(random.bounded(512, maxBytes)), Qt::Uninitialized);
    for (auto& byte : bytes)
        byte = char(random.bounded(256));
    return QByteArray::number(index) + ':' + bytes;
}

} // namespace

ShootDigests writeShoot(const QString& folder, int pairs, int singles, quint32 seed, int maxBytes)
{
    ShootDigests digests;
    QRandomGenerator random(seed);
    QDir().mkpath(folder);
    int index = 0;
    auto put = [&](const QString& relative) {
        const QByteArray bytes = uniqueBytes(random, index++, maxBytes);
        writeFile(folder + QLatin1Char('/') + relative, bytes);
        digests.insert(Sha256::hash(bytes), relative);
    };
    for (int i = 0; i < pairs; ++i) {
        const QString base = QStringLiteral("IMG_%1").arg(i + 1, 4, 10, QLatin1Char('0'));
        put(base + QStringLiteral(".JPG"));
        put(base + QStringLiteral(".NEF"));
    }
    for (int i = 0; i < singles; ++i)
        put(QStringLiteral("SOLO_%1.JPG").arg(i + 1, 4, 10, QLatin1Char('0')));
    return digests;
}

QList<QByteArray> digestsBelow(const QString& root)
{
    QList<QByteArray> digests;
    for (const QString& relative : filesBelow(root))
        digests.append(Sha256::hash(readFile(root + QLatin1Char('/') + relative)));
    std::sort(digests.begin(), digests.end());
    return digests;
}

QProcessEnvironment isolatedEnvironment(const QString& root)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"}) {
        const QString folder = root + QStringLiteral("/xdg/") + QString::fromLatin1(name);
        QDir().mkpath(folder);
        environment.insert(QString::fromLatin1(name), folder);
    }
    QDir().mkpath(root + QStringLiteral("/home"));
    environment.insert(QStringLiteral("HOME"), root + QStringLiteral("/home"));
    return environment;
}

QJsonObject lastJson(const QByteArray& out)
{
    const QList<QByteArray> lines = out.trimmed().split('\n');
    for (auto it = lines.rbegin(); it != lines.rend(); ++it)
        if (it->startsWith('{'))
            return json::parseObject(*it);
    return {};
}

QStringList sortArguments(const QString& source, const QString& base, const QString& store, const QString& mode,
                          const QString& verify)
{
    return {QStringLiteral("sort"), source,        QStringLiteral("--dest"),   base,
            QStringLiteral("--mode"), mode,        QStringLiteral("--verify"), verify,
            QStringLiteral("--name"), QStringLiteral("Lauf"), QStringLiteral("--store"), store,
            QStringLiteral("--all"), QStringLiteral("keep")};
}

QString stemOf(const QString& path)
{
    const QFileInfo info(path);
    return info.path() + u'/' + info.completeBaseName();
}

bool isSidecar(const QString& path)
{
    return QFileInfo(path).suffix().compare(QLatin1String("xmp"), Qt::CaseInsensitive) == 0;
}

} // namespace kestrava::test
