#include "PreviewStageItem.h"

#include <QCoreApplication>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGRendererInterface>

#include <cmath>

namespace kestrava {

PreviewStageItem::PreviewStageItem(QQuickItem* parent) : QQuickItem(parent)
{
    setFlag(ItemHasContents, true);
    setAcceptedMouseButtons(Qt::LeftButton);
    setAcceptHoverEvents(true);
}

void PreviewStageItem::setImage(const QImage& image)
{
    standIn_ = false;
    pendingZoom_ = false;
    replaceImage(image, QImage());
}

void PreviewStageItem::showPicture(const QImage& image, bool standIn, const QImage& fitted)
{
    const bool samePicture = image.cacheKey() == image_.cacheKey() && image.isNull() == image_.isNull();
    // Another photo's stand-in, or no picture at all: the waiting zoom was for the photo left.
    if (image.isNull() || (standIn && !samePicture))
        pendingZoom_ = false;
    standIn_ = standIn;
    replaceImage(image, fitted);
    if (standIn || !pendingZoom_)
        return;
    pendingZoom_ = false;
    const QRectF onStage = imageRect();
    toggleZoom(onStage.topLeft() + QPointF(pendingAt_.x() * onStage.width(), pendingAt_.y() * onStage.height()));
}

void PreviewStageItem::replaceImage(const QImage& image, const QImage& fitted)
{
    if (fitted.cacheKey() != fitted_.cacheKey() || fitted.isNull() != fitted_.isNull()) {
        fitted_ = fitted;
        textureDirty_ = true;
        update();
    }
    if (image.cacheKey() == image_.cacheKey() && image.isNull() == image_.isNull())
        return;
    // A new picture starts fitted: 100 % is a per-photo inspection.
    const bool wasZoomed = zoomed_;
    image_ = image;
    textureDirty_ = true;
    zoomed_ = false;
    emit imageChanged();
    if (wasZoomed)
        emit zoomChanged();
    emit geometryUpdated();
    update();
    if (!image_.isNull())
        presentNow();
}

void PreviewStageItem::presentNow()
{
    QQuickWindow* shown = window();
    if (!shown || !shown->rendererInterface()
        || shown->rendererInterface()->graphicsApi() != QSGRendererInterface::Software)
        return;
    // The software scene graph renders on the platform's update timer: with no vsync to wait
    // for, the offscreen and X11 platforms hold each frame back by an idle time (5 ms) so that
    // changes coalesce. A new picture is what the user pressed the key for, so its frame is
    // asked for at once, behind the events already queued; everything else keeps coalescing.
    // The timer's own request that follows finds nothing left to show and swaps nothing.
    QCoreApplication::postEvent(shown, new QEvent(QEvent::UpdateRequest));
}

void PreviewStageItem::setOverlay(const QImage& overlay)
{
    if (overlay.cacheKey() == overlay_.cacheKey() && overlay.isNull() == overlay_.isNull())
        return;
    overlay_ = overlay;
    overlayDirty_ = true;
    emit overlayChanged();
    update();
}

bool PreviewStageItem::fittedCopyFits() const
{
    if (fitted_.isNull() || image_.isNull())
        return false;
    const QSizeF onScreen = imageRect().size() * pixelScale();
    return std::abs(fitted_.width() - onScreen.width()) <= 1.0 && std::abs(fitted_.height() - onScreen.height()) <= 1.0;
}

QImage PreviewStageItem::drawnPicture() const
{
    return !zoomed_ && fittedCopyFits() ? fitted_ : image_;
}

QRectF PreviewStageItem::drawnRect() const
{
    const QRectF fitted = imageRect();
    if (zoomed_ || !fittedCopyFits())
        return fitted;
    // On whole device pixels and at the copy's own size, the frame copies its pixels one to one.
    const double s = pixelScale();
    return {QPointF(std::round(fitted.x() * s) / s, std::round(fitted.y() * s) / s), QSizeF(fitted_.size()) / s};
}

void PreviewStageItem::updateFitBox()
{
    // Zoomed, the stage grows over its margins; the fitted view comes back to the box it had.
    if (zoomed_)
        return;
    const double s = pixelScale();
    const QSize box(qRound(width() * s), qRound(height() * s));
    if (box == fitBox_)
        return;
    fitBox_ = box;
    emit fitBoxChanged();
}

void PreviewStageItem::itemChange(ItemChange change, const ItemChangeData& value)
{
    QQuickItem::itemChange(change, value);
    if (change == ItemSceneChange || change == ItemDevicePixelRatioHasChanged)
        updateFitBox();
}

double PreviewStageItem::pixelScale() const
{
    return window() ? window()->effectiveDevicePixelRatio() : 1.0;
}

double PreviewStageItem::fitScale(QSizeF stage, QSizeF picture)
{
    if (picture.isEmpty() || stage.isEmpty())
        return 1.0;
    return qMin(stage.width() / picture.width(), stage.height() / picture.height());
}

QPointF PreviewStageItem::clampOffset(QPointF offset, QSizeF stage, QSizeF scaled)
{
    auto axis = [](double value, double stageLength, double length) {
        if (length <= stageLength)
            return (stageLength - length) / 2;
        return qBound(stageLength - length, value, 0.0);
    };
    return {axis(offset.x(), stage.width(), scaled.width()), axis(offset.y(), stage.height(), scaled.height())};
}

double PreviewStageItem::contentScale() const
{
    if (zoomed_)
        return 1.0 / pixelScale();
    return fitScale(size(), image_.size());
}

QRectF PreviewStageItem::imageRect() const
{
    if (image_.isNull())
        return {};
    const double s = contentScale();
    const QSizeF scaled(image_.width() * s, image_.height() * s);
    if (zoomed_)
        return {clampOffset(offset_, size(), scaled), scaled};
    return {QPointF((width() - scaled.width()) / 2, (height() - scaled.height()) / 2), scaled};
}

void PreviewStageItem::setPartner(PreviewStageItem* partner)
{
    if (partner_ == partner || partner == this)
        return;
    partner_ = partner;
    emit partnerChanged();
}

void PreviewStageItem::toggleZoom(QPointF at)
{
    const QRectF before = imageRect();
    if (standIn_ && !before.isEmpty()) {
        pendingZoom_ = !pendingZoom_;
        pendingAt_ = QPointF((at.x() - before.left()) / before.width(), (at.y() - before.top()) / before.height());
        return;
    }
    toggleZoomHere(at);
    if (!partner_ || partner_->zoomed_ == zoomed_ || before.isEmpty())
        return;
    // The same spot of the partner's picture, wherever its picture sits in its own stage.
    const QPointF relative((at.x() - before.left()) / before.width(), (at.y() - before.top()) / before.height());
    const QRectF theirs = partner_->imageRect();
    partner_->toggleZoomHere(theirs.topLeft() + QPointF(relative.x() * theirs.width(), relative.y() * theirs.height()));
}

void PreviewStageItem::toggleZoomHere(QPointF at)
{
    if (image_.isNull())
        return;
    if (zoomed_) {
        zoomed_ = false;
    } else {
        const QRectF fitted = imageRect();
        const QPointF picturePoint = (at - fitted.topLeft()) / fitScale(size(), image_.size());
        const double full = 1.0 / pixelScale();
        offset_ = at - picturePoint * full;
        zoomed_ = true;
        offset_ = clampOffset(offset_, size(), QSizeF(image_.size()) * full);
    }
    emit zoomChanged();
    emit geometryUpdated();
    update();
}

bool PreviewStageItem::hasPointer() const
{
    return lastPointer_.x() >= 0 && boundingRect().contains(lastPointer_);
}

void PreviewStageItem::toggleZoomAtPointer()
{
    toggleZoom(hasPointer() ? lastPointer_ : boundingRect().center());
}

void PreviewStageItem::panBy(double dx, double dy)
{
    if (!zoomed_)
        return;
    const QPointF before = imageRect().topLeft();
    moveTo(before + QPointF(dx, dy));
    // By what this picture really moved, so a pane at its edge does not drag the other on.
    if (partner_ && partner_->zoomed_) {
        const QPointF moved = imageRect().topLeft() - before;
        partner_->moveTo(partner_->imageRect().topLeft() + moved);
    }
}

void PreviewStageItem::moveTo(QPointF offset)
{
    offset_ = clampOffset(offset, size(), imageRect().size());
    emit geometryUpdated();
    update();
}

void PreviewStageItem::resetZoom()
{
    if (!zoomed_)
        return;
    zoomed_ = false;
    emit zoomChanged();
    emit geometryUpdated();
    update();
}

void PreviewStageItem::layoutFit()
{
    if (zoomed_)
        offset_ = clampOffset(offset_, size(), imageRect().size());
    emit geometryUpdated();
}

void PreviewStageItem::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry)
{
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    layoutFit();
    updateFitBox();
    update();
}

void PreviewStageItem::mousePressEvent(QMouseEvent* event)
{
    dragStart_ = event->position();
    offsetAtDragStart_ = imageRect().topLeft();
    dragging_ = zoomed_;
    event->accept();
}

void PreviewStageItem::mouseMoveEvent(QMouseEvent* event)
{
    lastPointer_ = event->position();
    if (!dragging_)
        return;
    const QPointF target = offsetAtDragStart_ + (event->position() - dragStart_);
    const QPointF current = imageRect().topLeft();
    panBy(target.x() - current.x(), target.y() - current.y());
}

void PreviewStageItem::mouseReleaseEvent(QMouseEvent*)
{
    dragging_ = false;
}

void PreviewStageItem::mouseDoubleClickEvent(QMouseEvent* event)
{
    toggleZoom(event->position());
    event->accept();
}

void PreviewStageItem::hoverMoveEvent(QHoverEvent* event)
{
    lastPointer_ = event->position();
}

QSGNode* PreviewStageItem::updatePaintNode(QSGNode* old, UpdatePaintNodeData*)
{
    auto* node = static_cast<QSGImageNode*>(old);
    if (image_.isNull()) {
        delete node;
        return nullptr;
    }
    if (!node) {
        node = window()->createImageNode();
        node->setOwnsTexture(true);
        textureDirty_ = true;
        overlayDirty_ = true;
    }
    const bool fittedCopy = !zoomed_ && fittedCopyFits();
    const QImage& drawn = fittedCopy ? fitted_ : image_;
    if (textureDirty_ || drawn.cacheKey() != uploadedKey_) {
        node->setTexture(window()->createTextureFromImage(drawn));
        uploadedKey_ = drawn.cacheKey();
        textureDirty_ = false;
    }
    // Fitted pictures are resampled smoothly; at 100 % every pixel is shown as it is.
    node->setFiltering(zoomed_ ? QSGTexture::Nearest : QSGTexture::Linear);
    QRectF target = drawnRect();
    QRectF source(QPointF(), QSizeF(drawn.size()));
    if (!fittedCopy) {
        const QRectF full = imageRect();
        target = full.intersected(boundingRect());
        const double s = contentScale();
        source = QRectF((target.x() - full.x()) / s, (target.y() - full.y()) / s, target.width() / s, target.height() / s);
    }
    node->setRect(target);
    node->setSourceRect(source);

    // The overlay is a child of the picture's node: drawn after it, with the same geometry.
    auto* over = static_cast<QSGImageNode*>(node->firstChild());
    if (overlay_.isNull() || overlay_.size() != image_.size()) {
        if (over) {
            node->removeChildNode(over);
            delete over;
        }
        return node;
    }
    if (!over) {
        over = window()->createImageNode();
        over->setOwnsTexture(true);
        node->appendChildNode(over);
        overlayDirty_ = true;
    }
    if (overlayDirty_) {
        over->setTexture(window()->createTextureFromImage(overlay_));
        overlayDirty_ = false;
    }
    over->setFiltering(zoomed_ ? QSGTexture::Nearest : QSGTexture::Linear);
    over->setRect(target);
    // The overlay has the full picture's pixels, whichever copy is drawn under it.
    over->setSourceRect(fittedCopy ? QRectF(QPointF(), QSizeF(overlay_.size())) : source);
    return node;
}

} // namespace kestrava
