#pragma once

// Drives the preview loader for the review screen: when the current group changes it loads
// the group's preferred file (its embedded thumbnail stands in until the preview is there), falls back to the group's other files when that one yields no
// picture, reports readiness to the view model (decisions wait for a visible picture, or for
// every file of the group to have failed) and
// prefetches the next four groups. Inactive (outside review) it forgets everything.
// On the shared pipeline it also gives the view model's series stage its scorer (the focus
// measure of the very previews shown here) and draws focus peaking over the shown picture.

#include "ViewModelLink.h"

#include "preview/PhotoPreviewLoader.h"

#include "workflow/KestravaViewModel.h"

#include <QImage>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

namespace kestrava {

class ReviewPreviewController : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QObject* viewModel READ viewModelObject WRITE setViewModelObject NOTIFY viewModelChanged)
    Q_PROPERTY(bool active READ active WRITE setActive NOTIFY activeChanged)
    Q_PROPERTY(QImage image READ image NOTIFY imageChanged)
    Q_PROPERTY(bool hasImage READ hasImage NOTIFY imageChanged)
    // `image` already scaled to the stage's fit box (null until made): what the fitted stage draws.
    Q_PROPERTY(QImage fittedImage READ fittedImage NOTIFY fittedImageChanged)
    // The stage's fit box in device pixels, which the fitted copies are made for.
    Q_PROPERTY(QSize fitBox READ fitBox WRITE setFitBox NOTIFY fitBoxChanged)
    // `image` is the camera's thumbnail standing in while the preview renders.
    Q_PROPERTY(bool showsThumbnail READ showsThumbnail NOTIFY imageChanged)
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY statusChanged)
    Q_PROPERTY(bool didFail READ didFail NOTIFY statusChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY statusChanged)
    Q_PROPERTY(QString shownPath READ shownPath NOTIFY statusChanged)
    // The focus-peaking overlay of `image` while the series stage has peaking on; else null.
    Q_PROPERTY(QImage peakingImage READ peakingImage NOTIFY peakingImageChanged)

public:
    // Groups after the current one whose preview is prepared in advance.
    static constexpr int prefetchGroups = 4;

    // `loader` null: a loader on the shared pipeline.
    explicit ReviewPreviewController(QObject* parent = nullptr);
    ReviewPreviewController(PhotoPreviewLoader* loader, QObject* parent);

    QObject* viewModelObject() const;
    void setViewModelObject(QObject* viewModel);
    void setViewModel(KestravaViewModel* viewModel);
    bool active() const { return active_; }
    void setActive(bool active);
    QImage image() const { return loader_->image(); }
    QImage fittedImage() const { return loader_->fittedImage(); }
    QSize fitBox() const { return loader_->fitBox(); }
    void setFitBox(QSize box);
    // The preview itself is on screen: a stand-in thumbnail is not the picture a decision needs.
    bool hasImage() const { return !loader_->image().isNull() && !loader_->showsThumbnail(); }
    bool showsThumbnail() const { return !loader_->image().isNull() && loader_->showsThumbnail(); }
    bool isLoading() const { return loader_->isLoading(); }
    bool didFail() const { return loader_->didFail(); }
    QString statusText() const;
    QString shownPath() const;
    PhotoPreviewLoader& loader() { return *loader_; }
    QImage peakingImage() const { return peakingImage_; }

signals:
    void viewModelChanged();
    void activeChanged();
    void imageChanged();
    void fittedImageChanged();
    void fitBoxChanged();
    void statusChanged();
    void peakingImageChanged();

private:
    void sync();
    void loadCandidate();
    void onDidFailChanged();
    void onPreviewReadyChanged();
    // A picture, or the failure of every candidate: nothing more will arrive for this group.
    bool showsFinalState() const;
    void updatePeaking();
    void setPeakingImage(const QImage& image);

    PhotoPreviewLoader* loader_;
    ViewModelLink viewModel_;
    bool active_ = false;
    QString groupKey_;
    QStringList candidates_;
    int candidateIndex_ = 0;
    // On the shared pipeline: the series stage is scored from the same previews and caches.
    bool sharedPipeline_ = false;
    QImage peakingImage_;
};

} // namespace kestrava
