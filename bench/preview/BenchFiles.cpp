#include "BenchFiles.h"

#include "scanning/generator/ShootImages.h"

#include <QFile>
#include <QTemporaryDir>

namespace kestrava::bench {

QString scratchFolder()
{
    static QTemporaryDir dir;
    return dir.path();
}

QString cameraJpeg24mp()
{
    static const QString path = [] {
        const QString file = scratchFolder() + "/DSC_0001.JPG";
        shootgen::CameraTags tags{"NIKON CORPORATION", "NIKON D7100", QDateTime(QDate(2024, 6, 1), QTime(10, 0, 0)), 0};
        QFile out(file);
        if (out.open(QIODevice::WriteOnly))
            out.write(shootgen::jpegWithExif(shootgen::renderScene(QSize(6000, 4000), 7), 92, tags));
        return file;
    }();
    return path;
}

} // namespace kestrava::bench
