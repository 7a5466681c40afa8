#include "DemoShoot.h"

#include "scanning/generator/ShootGenerator.h"

#include <QDir>
#include <QTemporaryDir>

namespace kestrava::DemoShoot {

QString create(int shots)
{
    QTemporaryDir folder(QDir::tempPath() + QStringLiteral("/kestrava-demo-XXXXXX"));
    // The demo must outlive this call: the user sorts it afterwards.
    folder.setAutoRemove(false);
    if (!folder.isValid())
        throw shootgen::ShootGeneratorError(shootgen::ShootGeneratorError::Kind::cannotWrite, folder.path());
    shootgen::ShootOptions options;
    options.shots = shots;
    options.rawRatio = 1.0;
    options.seed = 2026;
    options.imageSize = QSize(1600, 1067);
    options.distractors = false;
    shootgen::generateShoot(folder.path(), options);
    return folder.path();
}

} // namespace kestrava::DemoShoot
