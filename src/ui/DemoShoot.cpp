#include "DemoShoot.h"

#include "scanning/generator/ShootGenerator.h"
#include "workflow/KestravaViewModel.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTemporaryDir>

namespace kestrava::DemoShoot {

using namespace Qt::StringLiterals;

namespace {

// Hidden, so the scanner never offers it as a photo: one "<size>\t<relative path>" per line.
const QString manifestName = u".kestrava-demo"_s;

} // namespace

QString defaultFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + u"/Kestrava/Demo"_s;
}

bool isComplete(const QString& folder)
{
    QFile manifest(folder + u'/' + manifestName);
    if (!manifest.open(QIODevice::ReadOnly))
        return false;
    int files = 0;
    while (!manifest.atEnd()) {
        const QString line = QString::fromUtf8(manifest.readLine()).trimmed();
        if (line.isEmpty())
            continue;
        const qsizetype tab = line.indexOf(u'\t');
        bool numeric = false;
        const qint64 size = line.left(tab).toLongLong(&numeric);
        const QFileInfo file(folder + u'/' + line.mid(tab + 1));
        if (tab <= 0 || !numeric || !file.isFile() || file.size() != size)
            return false;
        ++files;
    }
    return files > 0;
}

QString create(int shots, const QString& folder)
{
    if (isComplete(folder))
        return folder;
    const QString parent = QFileInfo(folder).absolutePath();
    if (!QDir().mkpath(folder))
        throw shootgen::ShootGeneratorError(shootgen::ShootGeneratorError::Kind::cannotWrite, folder);
    // Generated beside the demo and moved in file by file; what is left of the fresh copy is
    // removed with it, the demo folder itself never.
    QTemporaryDir fresh(parent + u"/.demo-XXXXXX"_s);
    if (!fresh.isValid())
        throw shootgen::ShootGeneratorError(shootgen::ShootGeneratorError::Kind::cannotWrite, fresh.path());
    shootgen::ShootOptions options;
    options.shots = shots;
    options.rawRatio = 1.0;
    options.seed = 2026;
    options.imageSize = QSize(1600, 1067);
    options.distractors = false;
    const shootgen::ShootSummary summary = shootgen::generateShoot(fresh.path(), options);

    QByteArray manifest;
    for (const shootgen::GeneratedPhoto& photo : summary.photos) {
        const QString from = fresh.path() + u'/' + photo.relativePath;
        const QString to = folder + u'/' + photo.relativePath;
        const qint64 size = QFileInfo(from).size();
        manifest += QByteArray::number(size) + '\t' + photo.relativePath.toUtf8() + '\n';
        const QFileInfo present(to);
        if (present.isFile() && present.size() == size)
            continue;
        QDir().mkpath(QFileInfo(to).absolutePath());
        // A changed demo file is the demo's own, generated here; it is replaced, nothing else.
        if (present.isFile())
            QFile::remove(to);
        if (!QFile::rename(from, to))
            throw shootgen::ShootGeneratorError(shootgen::ShootGeneratorError::Kind::cannotWrite, to);
    }
    // Written last: a start that stopped halfway finds no manifest and completes the demo.
    QSaveFile file(folder + u'/' + manifestName);
    if (!file.open(QIODevice::WriteOnly) || file.write(manifest) != manifest.size() || !file.commit())
        throw shootgen::ShootGeneratorError(shootgen::ShootGeneratorError::Kind::cannotWrite, file.fileName());
    return folder;
}

namespace {

bool nothingElseOpen(const KestravaViewModel& viewModel)
{
    return viewModel.route() == AppRoute::welcome && !viewModel.session() && !viewModel.loading()->isLoading();
}

} // namespace

void openWhenFree(KestravaViewModel& viewModel, const QString& folder)
{
    if (!nothingElseOpen(viewModel))
        return;
    SessionStage* session = viewModel.sessionStage();
    if (!session->showResumeChoice()) {
        viewModel.loading()->load(folder);
        return;
    }
    auto* waiting = new QObject(&viewModel);
    QObject::connect(session, &SessionStage::showResumeChoiceChanged, waiting, [&viewModel, session, folder, waiting] {
        if (session->showResumeChoice())
            return;
        waiting->deleteLater();
        if (nothingElseOpen(viewModel))
            viewModel.loading()->load(folder);
    });
}

} // namespace kestrava::DemoShoot
