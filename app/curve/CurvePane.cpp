#include "app/curve/CurvePane.h"

#include "app/curve/CurvePlot.h"
#include "app/dialogs/FocusHelp.h"
#include "platform/kernel/WholeFile.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QStackedWidget>
#include <system_error>

namespace {

constexpr QSize kPictureSize{960, 540};
constexpr int kLeastHeight = 180;

FileQuestion questionFor(PictureFormat format) {
    if (format == PictureFormat::kSvg) {
        return {"Save Curve", "SVG Pictures (*.svg)|*.svg|All Files (*.*)|*.*||", "svg"};
    }
    return {"Save Curve", "PNG Pictures (*.png)|*.png|All Files (*.*)|*.*||", "png"};
}

/// The item's values with another one at `field`, as the document takes them.
std::string valuesWith(const NvItem& item, std::size_t field, const std::string& text) {
    std::string values;
    std::size_t index = 0;
    for (const SubItem& subItem : item.getSubItems()) {
        values += (index == 0 ? "" : ",") + (index == field ? text : subItem.value);
        ++index;
    }
    return values;
}

} // namespace

CurvePane::CurvePane(CCalvaneDoc& document, EditHistory& history, UserInterface& userInterface,
                     std::function<bool()> storeTyped, QWidget* parent)
    : QWidget(parent), document_(document), history_(history), userInterface_(userInterface),
      storeTyped_(std::move(storeTyped)), plot_(new CurvePlot), stack_(new QStackedWidget), note_(new QLabel),
      readout_(new QLabel), whole_(new QPushButton), save_(new QPushButton) {
    setObjectName("curve_pane");
    setHelpPart(*this, "curve");
    setMinimumHeight(kLeastHeight);
    auto* row = new QWidget;
    makeRow(row);
    note_->setObjectName("curve_note");
    note_->setAlignment(Qt::AlignCenter);
    note_->setWordWrap(true);
    stack_->addWidget(plot_);
    stack_->addWidget(note_);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(row);
    layout->addWidget(stack_, 1);
    connect(plot_, &CurvePlot::changed, this, &CurvePane::showState);
    connect(plot_, &CurvePlot::edited, this, &CurvePane::store);
    connect(&history_, &EditHistory::changed, this, &CurvePane::onUpdate);
    document_.addView(this);
}

CurvePane::~CurvePane() {
    document_.removeView(this);
}

void CurvePane::makeRow(QWidget* row) {
    readout_->setObjectName("curve_point");
    readout_->setTextFormat(Qt::PlainText);
    readout_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    readout_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred); // a long text does not widen the window
    whole_->setObjectName("curve_whole");
    whole_->setText("Reset &Zoom");
    whole_->setToolTip("Show the whole curve (0)");
    connect(whole_, &QPushButton::clicked, plot_, &CurvePlot::showWhole);
    auto* formats = new QMenu(save_);
    connect(formats->addAction("&SVG..."), &QAction::triggered, this, [this] { savePicture(PictureFormat::kSvg); });
    connect(formats->addAction("&PNG..."), &QAction::triggered, this, [this] { savePicture(PictureFormat::kPng); });
    save_->setObjectName("curve_save");
    save_->setText("Save Pict&ure");
    save_->setToolTip("Save what is shown as a picture");
    save_->setMenu(formats);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(6, 2, 6, 2);
    layout->addWidget(readout_, 1);
    for (QPushButton* button : {whole_, save_}) {
        button->setFocusPolicy(Qt::TabFocus);
        layout->addWidget(button);
    }
}

void CurvePane::onUpdate() {
    if (isVisible()) {
        refresh();
    }
}

void CurvePane::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    refresh();
}

void CurvePane::setCompared(ComparedItems compared) {
    compared_ = std::move(compared);
    onUpdate();
}

void CurvePane::refresh() {
    const NvItem* item = document_.selectedItem();
    CurveSources sources;
    sources.units = &document_.units();
    if (item != nullptr) {
        sources.known = document_.baseline().values().itemOf(*item);
        sources.compared = compared_.item ? compared_.item(item->getId()) : nullptr;
        sources.comparedName = compared_.name;
    }
    CurveSet set = curvesOf(item, sources);
    note_->setText(QString::fromStdString(set.note));
    const bool isShown = !set.curves.empty();
    // The focus stays in the pane where the plot gives way to the text.
    if (!isShown && plot_->hasFocus()) {
        whole_->setFocus();
    }
    plot_->showSet(std::move(set));
    stack_->setCurrentWidget(isShown ? static_cast<QWidget*>(plot_) : note_);
    save_->setEnabled(isShown);
}

void CurvePane::showState() {
    readout_->setText(plot_->chosenText());
    whole_->setEnabled(plot_->isZoomed());
}

void CurvePane::store(std::size_t field, const QString& text) {
    const auto shown = plot_->set().item;
    if (document_.isWaiting() || !storeTyped_()) {
        return;
    }
    const NvItem* item = document_.selectedItem();
    if (item == nullptr || item->getId() != shown || field >= item->getSubItemCount()) {
        return;
    }
    try {
        history_.storeItemData(static_cast<std::size_t>(document_.selectedIndex()),
                               valuesWith(*item, field, text.toStdString()));
    } catch (const Calvane::Exception& failure) {
        userInterface_.showMessage(failure.what(), "Curve", MessageIcon::kError);
    }
    document_.updateAllViews();
}

void CurvePane::savePicture(PictureFormat format) {
    const CurveSet set = plot_->set();
    const auto path = userInterface_.askFileToSave(questionFor(format));
    if (!path) {
        return;
    }
    const QByteArray picture = curvePicture(set, plot_->curves().view(), kPictureSize, format);
    const std::string content = picture.toStdString();
    // Nothing waits here: without a reader a pipe would keep the program waiting.
    std::error_code ignored;
    const bool isPipe = std::filesystem::is_fifo(*path, ignored);
    const int error = picture.isEmpty() ? EIO : isPipe ? EINVAL : kernel::writeWholeFile(*path, content).error();
    if (error != 0) {
        userInterface_.showMessage("The picture could not be written to '" + *path +
                                       "': " + std::generic_category().message(error) + ".",
                                   "Save Curve", MessageIcon::kError);
        return;
    }
    userInterface_.fileWritten(*path);
}
