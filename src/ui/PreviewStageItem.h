#pragma once

// The photo on the review stage: fitted to the stage, or shown at 100 % (one preview pixel per
// device pixel) around the point the user pointed at, and panned by dragging while zoomed.
// Drawn as one textured node; the texture is uploaded once per picture.
//
// Keys are not handled here: arrow keys stay with the review key filter, and the screen maps
// "Z" to toggleZoom().

#include <QImage>
#include <QPointer>
#include <QQuickItem>
#include <QtQml/qqmlregistration.h>

namespace kestrava {

class PreviewStageItem : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QImage image READ image WRITE setImage NOTIFY imageChanged)
    // Drawn over the picture, pixel for pixel (focus peaking); shown only when it has the
    // picture's size, so a late overlay of another picture never lands on this one.
    Q_PROPERTY(QImage overlay READ overlay WRITE setOverlay NOTIFY overlayChanged)
    Q_PROPERTY(bool zoomed READ zoomed NOTIFY zoomChanged)
    // Logical pixels per preview pixel at the current zoom.
    Q_PROPERTY(double scale READ contentScale NOTIFY zoomChanged)
    Q_PROPERTY(QRectF imageRect READ imageRect NOTIFY geometryUpdated)
    // The box, in device pixels, a fitted picture is drawn into: what a copy of the picture
    // made for the fitted view should fit. Follows the stage while it is fitted.
    Q_PROPERTY(QSize fitBox READ fitBox NOTIFY fitBoxChanged)
    // Another stage that zooms and pans with this one (the two panes of the compare view): a
    // zoom here zooms it on the same spot of its picture, a pan here moves it by as much.
    Q_PROPERTY(kestrava::PreviewStageItem* partner READ partner WRITE setPartner NOTIFY partnerChanged)

public:
    explicit PreviewStageItem(QQuickItem* parent = nullptr);

    QImage image() const { return image_; }
    void setImage(const QImage& image);
    QImage overlay() const { return overlay_; }
    void setOverlay(const QImage& overlay);
    bool zoomed() const { return zoomed_; }
    // A 100 % asked for while a stand-in shows, waiting for the picture it stands in for.
    bool zoomPending() const { return pendingZoom_; }
    double contentScale() const;
    QRectF imageRect() const;
    PreviewStageItem* partner() const { return partner_; }
    void setPartner(PreviewStageItem* partner);

    // Fit ↔ 100 %, keeping the picture point under `at` (item coordinates) in place.
    Q_INVOKABLE void toggleZoom(QPointF at);
    // Toggles at the last pointer position over the stage, or the centre.
    Q_INVOKABLE void toggleZoomAtPointer();
    // Whether the pointer was last seen over this stage.
    Q_INVOKABLE bool hasPointer() const;
    Q_INVOKABLE void panBy(double dx, double dy);
    Q_INVOKABLE void resetZoom();
    // Shows `image`, which with `standIn` set only stands in for the picture (the camera's
    // small thumbnail while the preview renders): zooming it would inspect a blur and be
    // undone by the picture's arrival, so a zoom asked for meanwhile is kept and applied, on
    // the same spot, to the picture that follows. Setting `image` directly shows a picture.
    // `fitted` is `image` already scaled to `fitBox`: drawn instead of `image` while the
    // stage is fitted and the copy still has the size the picture takes on screen, so that a
    // frame copies pixels instead of resampling the full preview. It belongs to `image` alone:
    // a picture shown without one is drawn from the full preview.
    Q_INVOKABLE void showPicture(const QImage& image, bool standIn, const QImage& fitted = QImage());
    QSize fitBox() const { return fitBox_; }
    // What the next frame draws: the fitted copy or the full picture.
    QImage drawnPicture() const;

    // The geometry alone, for tests: the picture's rectangle for a stage of `stage` size.
    static double fitScale(QSizeF stage, QSizeF picture);
    static QPointF clampOffset(QPointF offset, QSizeF stage, QSizeF scaled);

signals:
    void imageChanged();
    void overlayChanged();
    void zoomChanged();
    void geometryUpdated();
    void partnerChanged();
    void fitBoxChanged();

protected:
    QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData*) override;
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
    void itemChange(ItemChange change, const ItemChangeData& value) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void hoverMoveEvent(QHoverEvent* event) override;

private:
    double pixelScale() const;
    void layoutFit();
    // The zoom and the pan of this stage alone, without its partner.
    void toggleZoomHere(QPointF at);
    void moveTo(QPointF offset);
    void replaceImage(const QImage& image, const QImage& fitted);
    bool fittedCopyFits() const;
    void updateFitBox();
    // Where the drawn picture lands, in item coordinates, and which part of it.
    QRectF drawnRect() const;
    // Asks for the frame now rather than after the platform's idle time (software rendering).
    void presentNow();

    QImage image_;
    QImage fitted_;
    QSize fitBox_;
    qint64 uploadedKey_ = 0;
    bool textureDirty_ = false;
    QImage overlay_;
    bool overlayDirty_ = false;
    bool zoomed_ = false;
    bool standIn_ = false;
    bool pendingZoom_ = false;
    QPointF pendingAt_; // relative to the fitted stand-in, 0..1 on each axis
    QPointF offset_; // top-left of the picture in item coordinates while zoomed
    QPointF lastPointer_{-1, -1};
    QPointF dragStart_;
    QPointF offsetAtDragStart_;
    bool dragging_ = false;
    QPointer<PreviewStageItem> partner_;
};

} // namespace kestrava
