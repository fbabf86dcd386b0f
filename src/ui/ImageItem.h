#pragma once

#include <QImage>
#include <QQuickPaintedItem>

/// Paints one image, scaled to fit and centred; the recording screen's view of a slide.
/// GUI thread.
class ImageItem : public QQuickPaintedItem
{
    Q_OBJECT
    Q_PROPERTY(QImage image READ image WRITE setImage NOTIFY imageChanged)

public:
    explicit ImageItem(QQuickItem* parent = nullptr);

    [[nodiscard]] QImage image() const { return m_image; }
    void setImage(const QImage& image);

    void paint(QPainter* painter) override;

signals:
    void imageChanged(const QImage& image);

private:
    QImage m_image;
};
