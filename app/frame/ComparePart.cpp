#include "app/frame/ComparePart.h"

#include "app/compare/CompareDialog.h"
#include "app/compare/CompareWindow.h"
#include "app/document/DocumentSets.h"
#include "app/frame/CSplitterFrame.h"
#include "app/frame/QtUserInterface.h"
#include "app/review/ItemReportDialog.h"
#include "app/views/CNvParam.h"
#include "app/views/EditHistory.h"
#include "workbench/NumberTexts.h"

#include <QMdiArea>
#include <algorithm>

namespace {

/// For the names of edits, which have capitals.
QString itemCount(std::size_t count) {
    return count == 1 ? QString("1 Item") : QString("%1 Items").arg(count);
}

} // namespace

ComparePart::ComparePart(Document document, std::function<void()> compared)
    : document_(std::move(document)), compared_(std::move(compared)) {
    connect(&document_.history, &EditHistory::changed, this, [this] {
        for (const auto& window : windows_) {
            if (window != nullptr) {
                window->documentChanged();
            }
        }
    });
}

ComparePart::~ComparePart() {
    for (const auto& window : windows_) {
        if (window != nullptr) {
            window->leaveDocument();
        }
    }
}

std::shared_ptr<const workbench::ItemSet> ComparePart::comparedSet() const {
    const auto isOpen = [](const QPointer<CompareWindow>& window) { return window != nullptr && !window->isClosing(); };
    const auto newest = std::find_if(windows_.rbegin(), windows_.rend(), isOpen);
    return newest == windows_.rend() ? nullptr : (*newest)->comparedSet();
}

bool ComparePart::storeTyped() {
    document_.editor.store();
    if (document_.editor.settle()) {
        return true;
    }
    document_.window.mdiArea()->setActiveSubWindow(&document_.window); // the value is to be seen
    return false;
}

std::vector<CompareSource> ComparePart::sourcesOfDocuments() const {
    using Origin = CompareSource::Origin;
    std::vector<CompareSource> sources;
    const auto add = [&](Origin origin, const QString& label, CSplitterFrame* frame, const auto& copy) {
        sources.push_back({.origin = origin, .label = label.toStdString(), .isHome = frame == &document_.window});
        sources.back().take = [frame = QPointer(frame), copy, text = label.toStdString()]() -> CompareSource::Set {
            return frame == nullptr || frame->isClosing() ? nullptr : copy(frame->document(), text);
        };
    };
    add(Origin::kDocument, "This document", &document_.window, &itemsOf);
    add(Origin::kLastKnown, "Its last known values", &document_.window, &lastKnownItemsOf);
    int number = 0;
    for (QMdiSubWindow* window : document_.window.mdiArea()->subWindowList()) {
        auto* frame = qobject_cast<CSplitterFrame*>(window);
        if (frame == nullptr || frame->isClosing()) {
            continue;
        }
        ++number; // as in the Window menu
        if (frame != &document_.window) {
            add(Origin::kDocument, QString("Document %1: %2").arg(number).arg(frame->windowTitle()), frame, &itemsOf);
        }
    }
    return sources;
}

void ComparePart::run(CommandId) {
    compareWith({});
}

void ComparePart::compareWith(std::vector<CompareSource> sides) {
    if (!storeTyped()) {
        return;
    }
    CSplitterFrame& home = document_.window;
    std::vector<CompareSource> choices = sourcesOfDocuments();
    const auto left = sides.empty() ? std::nullopt : std::optional(choices.size());
    std::ranges::move(sides, std::back_inserter(choices));
    CompareDialog dialog(std::move(choices), home.document().comPort(), home.window(), left);
    if (dialog.exec() != QDialog::Accepted) {
        return;
    }
    auto asking = std::make_shared<QPointer<CompareWindow>>();
    const CompareActions actions{
        .takeOver = [this, asking](const std::vector<NvItem>& values) { takeOver(**asking, values); },
        .write = [this, asking](std::vector<NvItem> values, const CompareSource::Set& from,
                                bool isHome) { write(**asking, std::move(values), from, isHome); },
        .comparedChanged = [this] { compared_(); }};
    auto* window = new CompareWindow(std::make_shared<QtUserInterface>(home.window()), &home, actions,
                                     document_.ringPath, home.document().units(), dialog.sources());
    *asking = window;
    windows_.removeAll(nullptr);
    windows_.push_back(window);
    connect(window, &QObject::destroyed, this, [this] { compared_(); });
    home.mdiArea()->addSubWindow(window);
    window->show();
}

void ComparePart::takeOver(CompareWindow& asking, const std::vector<NvItem>& values) {
    if (document_.window.isWaiting() || !storeTyped()) {
        return;
    }
    const auto notTaken = document_.history.putItems(values, "Take-Over of " + itemCount(values.size()));
    PhoneReport report{.line = workbench::counted(values.size() - notTaken.size()) + " taken over" +
                               (notTaken.empty() ? "." : ", " + std::to_string(notTaken.size()) + " not.")};
    for (const EditHistory::NotTaken& one : notTaken) {
        report.items.push_back({one.number, one.name, "not taken over: " + one.reason});
    }
    asking.tell(QString::fromStdString(report.line));
    if (!report.items.empty()) {
        ItemReportDialog(report, asking.window()).exec();
    }
}

void ComparePart::write(CompareWindow& asking, std::vector<NvItem> values, const CompareSource::Set& from,
                        bool isHome) {
    if (document_.window.isBusy()) {
        asking.tell("The document is being read from a phone: it can be written to afterwards.");
        return;
    }
    if (document_.window.isWaiting() || !storeTyped()) {
        return;
    }
    QtUserInterface userInterface(asking.window());
    const QString text = "Write of " + itemCount(values.size());
    WriteRequest request =
        requestForValues(document_.window.document(), userInterface, std::move(values), from->about().bringsAllBytes);
    if (!isHome) {
        request.source = from->about().source;
    }
    request.takeValues = [this, text](const std::vector<NvItem>& written) {
        document_.history.putItems(written, text);
    };
    document_.review(std::move(request));
}
