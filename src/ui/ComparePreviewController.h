#pragma once

// The pictures of the compare view: the reference's and the candidate's previews from the
// shared pipeline (its caches included), and the next candidates prefetched so that a decision
// shows the following frame at once.

#include "ViewModelLink.h"

#include "preview/PhotoPreviewLoader.h"

#include <QImage>
#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace kestrava {

class ComparePreviewController : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QObject* viewModel READ viewModelObject WRITE setViewModelObject NOTIFY viewModelChanged)
    Q_PROPERTY(QImage referenceImage READ referenceImage NOTIFY imagesChanged)
    Q_PROPERTY(QImage candidateImage READ candidateImage NOTIFY imagesChanged)
    // Focus-peaking overlays of the two pictures while the series stage has peaking on.
    Q_PROPERTY(QImage referencePeaking READ referencePeaking NOTIFY peakingChanged)
    Q_PROPERTY(QImage candidatePeaking READ candidatePeaking NOTIFY peakingChanged)

public:
    // Open groups after the candidate whose previews are prepared in advance.
    static constexpr int prefetchCandidates = 3;

    explicit ComparePreviewController(QObject* parent = nullptr);

    QObject* viewModelObject() const { return viewModel_; }
    void setViewModelObject(QObject* viewModel);
    QImage referenceImage() const { return reference_->image(); }
    QImage candidateImage() const { return candidate_->image(); }
    QImage referencePeaking() const { return peaking_[0]; }
    QImage candidatePeaking() const { return peaking_[1]; }

signals:
    void viewModelChanged();
    void imagesChanged();
    void peakingChanged();

private:
    void sync();
    void updatePeaking();
    static void show(PhotoPreviewLoader& loader, const QString& path, PhotoPreviewLoader::ReadyCallback onReady = {});

    ViewModelLink viewModel_;
    PhotoPreviewLoader* reference_;
    PhotoPreviewLoader* candidate_;
    QImage peaking_[2];
};

} // namespace kestrava
