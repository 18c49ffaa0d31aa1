#include "app/curve/CurvePicture.h"

#include "app/dialogs/ShownText.h"

#include <QBuffer>
#include <QGraphicsLayout>
#include <QGraphicsScene>
#include <QImage>
#include <QPainter>
#include <QPalette>
#include <QSvgGenerator>

namespace {

constexpr int kPngScale = 2;

QPalette paper() {
    QPalette palette;
    palette.setColor(QPalette::Base, Qt::white);
    palette.setColor(QPalette::Text, Qt::black);
    return palette;
}

} // namespace

QByteArray curvePicture(const CurveSet& set, const PlotView& view, QSize size, PictureFormat format) {
    QGraphicsScene scene;
    auto* chart = new CurveChart;
    scene.addItem(chart); // takes it over
    chart->setTitle(shownText(set.title).toHtmlEscaped());
    chart->showSet(set, paper());
    chart->resize(size);
    chart->layout()->activate();
    chart->setView(view);
    const QRectF all({0, 0}, QSizeF(size));
    QBuffer content;
    content.open(QBuffer::WriteOnly);
    if (format == PictureFormat::kSvg) {
        QSvgGenerator svg;
        svg.setOutputDevice(&content);
        svg.setSize(size);
        svg.setViewBox(all);
        svg.setTitle(shownText(set.title));
        QPainter painter(&svg);
        scene.render(&painter, all, all);
    } else {
        QImage image(size * kPngScale, QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        scene.render(&painter, QRectF(QPointF(), QSizeF(image.size())), all);
        painter.end();
        image.save(&content, "PNG");
    }
    return content.data();
}
