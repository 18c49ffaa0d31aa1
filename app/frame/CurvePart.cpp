#include "app/frame/CurvePart.h"

#include "app/curve/CurvePlot.h"
#include "app/dialogs/DialogTemplate.h"
#include "app/views/CNvParam.h"

#include <QApplication>
#include <QLineEdit>
#include <QSettings>
#include <QSplitter>

namespace {

constexpr const char* kShownSetting = "curve/shown";
constexpr const char* kSplitSetting = "curve/split";
constexpr int kFirstShares[] = {3, 2}; ///< of the boxes and the curves, until the user has moved the border
constexpr int kFirstRowId = 7000;      // of the editor's first box

} // namespace

CurvePart::CurvePart(QSplitter& panes, CNvParam& editor, CCalvaneDoc& document, EditHistory& history,
                     UserInterface& userInterface, std::function<bool()> storeTyped)
    : panes_(panes), editor_(editor), makePane_([&document, &history, &userInterface, storeTyped] {
          return new CurvePane(document, history, userInterface, storeTyped);
      }) {
    if (QSettings().value(kShownSetting, false).toBool()) {
        show();
    }
}

bool CurvePart::isChecked(CommandId) const {
    return pane_ != nullptr && !pane_->isHidden();
}

void CurvePart::run(CommandId command) {
    const bool shown = !isChecked(command);
    if (shown) {
        show();
    } else {
        if (pane_->isAncestorOf(pane_->window()->focusWidget())) {
            editor_.setFocus();
        }
        pane_->hide();
    }
    QSettings().setValue(kShownSetting, shown);
}

void CurvePart::show() {
    if (pane_ != nullptr) {
        pane_->show();
        return;
    }
    QWidget* focus = editor_.isAncestorOf(editor_.window()->focusWidget()) ? editor_.window()->focusWidget() : nullptr;
    split_ = new QSplitter(Qt::Vertical);
    split_->setObjectName("curve_splitter");
    split_->setChildrenCollapsible(false);
    const int index = panes_.indexOf(&editor_);
    const QList<int> sizes = panes_.sizes();
    panes_.replaceWidget(index, split_);
    split_->addWidget(&editor_);
    editor_.show();
    pane_ = makePane_();
    pane_->setCompared(compared_);
    split_->addWidget(pane_);
    for (const int place : {0, 1}) {
        split_->setStretchFactor(place, kFirstShares[place]);
    }
    split_->setSizes({100 * kFirstShares[0], 100 * kFirstShares[1]}); // shares, whatever the height will be
    split_->restoreState(QSettings().value(kSplitSetting).toByteArray());
    panes_.setStretchFactor(index, 1);
    panes_.setSizes(sizes);
    connect(split_, &QSplitter::splitterMoved, this, &CurvePart::savePlace);
    connectPlot();
    if (focus != nullptr) {
        focus->setFocus();
    }
}

void CurvePart::connectPlot() {
    CurvePlot& plot = pane_->plot();
    connect(&plot, &CurvePlot::changed, this, [this, &plot] {
        if (plot.chosen() && plot.hasFocus()) {
            const std::size_t field = plot.set().curves[plot.chosen()->curve].points[plot.chosen()->point].field;
            editor_.ensureWidgetVisible(&control<QLineEdit>(editor_, kFirstRowId + static_cast<int>(field)));
        }
    });
    connect(qApp, &QApplication::focusChanged, this, [this, &plot](QWidget*, QWidget* to) {
        const auto row = editor_.focusedRow();
        if (row && to != nullptr && editor_.isAncestorOf(to)) {
            plot.chooseField(*row);
        }
    });
}

void CurvePart::savePlace() const {
    QSettings().setValue(kSplitSetting, split_->saveState());
}

void CurvePart::setCompared(ComparedItems compared) {
    compared_ = std::move(compared);
    if (pane_ != nullptr) {
        pane_->setCompared(compared_);
    }
}

void CurvePart::refresh() {
    if (pane_ != nullptr) {
        pane_->onUpdate();
    }
}

QWidget* CurvePart::pane() const {
    return isChecked(CommandId::kCurve) ? &pane_->plot() : nullptr;
}
