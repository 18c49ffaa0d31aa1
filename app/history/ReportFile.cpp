#include "app/history/ReportFile.h"

#include "engine/Calvane.h"
#include "platform/kernel/WholeFile.h"
#include "workbench/record/SessionReport.h"

#include <QBuffer>
#include <QPageLayout>
#include <QPdfWriter>
#include <QTextDocument>
#include <stdexcept>
#include <system_error>

namespace {

constexpr double kMarginMm = 15;
constexpr int kDotsPerInch = 96; ///< in which the page's sizes are meant

QByteArray pdfOf(const std::string& html) {
    QByteArray pdf;
    QBuffer buffer(&pdf);
    buffer.open(QIODevice::WriteOnly);
    QPdfWriter writer(&buffer);
    writer.setTitle("Calibration record");
    writer.setCreator("Calvane");
    writer.setResolution(kDotsPerInch);
    writer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Landscape,
                                     QMarginsF(kMarginMm, kMarginMm, kMarginMm, kMarginMm), QPageLayout::Millimeter));
    QTextDocument document;
    document.setHtml(QString::fromStdString(html));
    document.setPageSize(writer.pageLayout().paintRectPixels(kDotsPerInch).size());
    document.print(&writer);
    return pdf;
}

} // namespace

void writeReport(const std::string& path, const record::Session& session, std::span<const record::SessionItem> items,
                 const Calvane& catalog, const workbench::Units& units) {
    std::string content = record::sessionReport(session, items, catalog, units);
    if (QString::fromStdString(path).endsWith(".pdf", Qt::CaseInsensitive)) {
        content = pdfOf(content).toStdString();
    }
    if (const auto result = kernel::writeWholeFile(path, content); !result.succeeded()) {
        throw std::runtime_error("Couldn't write '" + path + "': " + std::generic_category().message(result.error()));
    }
}
