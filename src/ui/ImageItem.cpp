#include "ui/ImageItem.h"

#include <QPainter>

#include <algorithm>

ImageItem::ImageItem(QQuickItem* parent)
    : QQuickPaintedItem(parent)
{
}

void ImageItem::setImage(const QImage& image)
{
    m_image = image;
    emit imageChanged(m_image);
    update();
}

void ImageItem::paint(QPainter* painter)
{
    if (m_image.isNull())
        return;
    const qreal ratio = m_image.devicePixelRatio();
    const QSize box(qRound(qRound(width()) * ratio), qRound(qRound(height()) * ratio));
    const QImage scaled = m_image.scaled(box, Qt::KeepAspectRatio, Qt::FastTransformation);
    const qreal x = std::max(0.0, (box.width() - scaled.width()) / 2.0 / ratio);
    const qreal y = std::max(0.0, (box.height() - scaled.height()) / 2.0 / ratio);
    painter->drawImage(QPointF(x, y), scaled);
}
