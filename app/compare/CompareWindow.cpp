#include "app/compare/CompareWindow.h"

#include "app/compare/CompareModel.h"
#include "app/compare/CompareTree.h"
#include "app/dialogs/FileDialog.h"
#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/ShownText.h"
#include "platform/kernel/WholeFile.h"
#include "workbench/NumberTexts.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <stdexcept>
#include <system_error>

namespace {

constexpr int kChangeDelayMs = 100;
constexpr QSize kFirstSize{980, 560};

/// The keys that are this window's while it has the focus, also where the main window has them.
enum class Key { kNone, kNext, kPrevious, kAgain, kFilter };
Key keyOf(const QKeyEvent& event) {
    if (event.key() == Qt::Key_F8) {
        return event.modifiers() == Qt::ShiftModifier ? Key::kPrevious
               : event.modifiers() == Qt::NoModifier  ? Key::kNext
                                                      : Key::kNone;
    }
    return event.matches(QKeySequence::Find)                                  ? Key::kFilter
           : event.key() == Qt::Key_F5 && event.modifiers() == Qt::NoModifier ? Key::kAgain
                                                                              : Key::kNone;
}

} // namespace

CompareWindow::CompareWindow(std::shared_ptr<UserInterface> userInterface, QMdiSubWindow* documentWindow,
                             CompareActions actions, std::string ringPath, workbench::Units units,
                             std::array<CompareSource, 2> sources)
    : userInterface_(std::move(userInterface)), documentWindow_(documentWindow), actions_(std::move(actions)),
      ringPath_(std::move(ringPath)), sources_(std::move(sources)), model_(new CompareModel(std::move(units), this)),
      tree_(new CompareTree(*model_)), sides_(plainLabel("compare_sides")), warning_(plainLabel("compare_warning")),
      counts_(plainLabel("compare_counts")), ticked_(plainLabel("compare_ticked")),
      message_(plainLabel("compare_message")), differencesOnly_(new QCheckBox("&Differences only")),
      filter_(new QLineEdit), valuesOf_(new QComboBox), progress_(new QProgressBar), jobs_(*userInterface_) {
    setObjectName("compare");
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle("Compare");
    setHelpPart(*this, "compare");
    resize(kFirstSize);
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    makeTop(*column);
    tree_->setObjectName("compare_rows");
    tree_->setAccessibleName("Compared items");
    column->addWidget(tree_);
    makeBottom(*column);
    setWidget(content);
    connect(model_, &CompareModel::ticksChanged, this, &CompareWindow::showButtons);
    connect(model_, &QAbstractItemModel::modelReset, this, &CompareWindow::showButtons);
    changeTimer_.setSingleShot(true);
    changeTimer_.setInterval(kChangeDelayMs);
    connect(&changeTimer_, &QTimer::timeout, this, [this] { compare(true); });
    tree_->setFocus();
    compare(false);
}

CompareWindow::~CompareWindow() {
    disconnect(model_, nullptr, this, nullptr);
}

QPushButton* CompareWindow::addButton(QBoxLayout& row, const char* name, const char* text,
                                      void (CompareWindow::*pressed)()) {
    auto* button = new QPushButton(text);
    button->setObjectName(name);
    connect(button, &QPushButton::clicked, this, pressed);
    row.addWidget(button);
    return button;
}

void CompareWindow::makeTop(QBoxLayout& column) {
    QFont bold = warning_->font();
    bold.setBold(true);
    warning_->setFont(bold);
    for (QLabel* label : {sides_, warning_, counts_}) {
        column.addWidget(label);
    }
    differencesOnly_->setObjectName("compare_differences");
    differencesOnly_->setChecked(true);
    connect(differencesOnly_, &QCheckBox::toggled, model_, &CompareModel::setDifferencesOnly);
    filter_->setObjectName("compare_filter");
    filter_->setPlaceholderText("Filter by number and name (Ctrl+F)");
    filter_->setClearButtonEnabled(true);
    filter_->setAccessibleName("Filter by number and name");
    connect(filter_, &QLineEdit::textChanged, model_, &CompareModel::setFilter);
    auto* row = new QHBoxLayout;
    row->addWidget(differencesOnly_);
    row->addWidget(filter_, 1);
    idleButtons_ = {addButton(*row, "compare_previous", "&Previous", &CompareWindow::previous),
                    addButton(*row, "compare_next", "&Next", &CompareWindow::next)};
    idleButtons_[0]->setToolTip("Go to the difference before (Shift+F8)");
    idleButtons_[1]->setToolTip("Go to the next difference (F8)");
    again_ = addButton(*row, "compare_again", "Compare A&gain", &CompareWindow::compareAgain);
    again_->setToolTip("Read both sides anew (F5)");
    column.addLayout(row);
}

void CompareWindow::makeBottom(QBoxLayout& column) {
    column.addWidget(message_);
    progress_->setObjectName("compare_progress");
    auto* waiting = new QHBoxLayout;
    waiting->addWidget(progress_, 1);
    cancel_ = addButton(*waiting, "compare_cancel", "Cancel", &CompareWindow::cancel);
    column.addLayout(waiting);
    valuesOf_->setObjectName("compare_values");
    valuesOf_->setAccessibleName("Values of");
    valuesOf_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    valuesOf_->addItems({"Left", "Right"});
    // A document takes values of the other side; what is to be written is rather in a file than on the phone.
    const bool rightIsTarget = isHome(1) || (!isHome(0) && sources_[1].origin == CompareSource::Origin::kPhone);
    valuesOf_->setCurrentIndex(rightIsTarget ? 0 : 1);
    connect(valuesOf_, &QComboBox::currentIndexChanged, this, &CompareWindow::showButtons);
    auto* label = new QLabel("&Values of:");
    label->setBuddy(valuesOf_);
    auto* row = new QHBoxLayout;
    tickAll_ = addButton(*row, "compare_tick_all", "Tick &All", &CompareWindow::tickAll);
    row->addWidget(ticked_, 1);
    row->addWidget(label);
    row->addWidget(valuesOf_);
    takeOver_ = addButton(*row, "compare_take", "Take &Over", &CompareWindow::takeOver);
    takeOver_->setToolTip("Gives the ticked values to the document, as one edit that can be undone");
    write_ = addButton(*row, "compare_write", "&Write These...", &CompareWindow::write);
    write_->setToolTip("Shows what a write of the ticked values would do to the phone");
    idleButtons_.push_back(addButton(*row, "compare_save", "&Save As...", &CompareWindow::save));
    idleButtons_.push_back(tickAll_);
    column.addLayout(row);
}

bool CompareWindow::isHome(std::size_t side) const {
    return sources_.at(side).isHome && sources_.at(side).origin == CompareSource::Origin::kDocument;
}

std::size_t CompareWindow::chosenSide() const {
    return static_cast<std::size_t>(valuesOf_->currentIndex());
}

std::shared_ptr<const workbench::ItemSet> CompareWindow::comparedSet() const {
    if (comparison_ == nullptr) {
        return nullptr;
    }
    return isHome(1) && !isHome(0) ? comparison_->left() : comparison_->right();
}

void CompareWindow::compare(bool documentsOnly) {
    if (jobs_.isRunning()) {
        if (documentsOnly) {
            changeTimer_.start(); // once that has ended
        }
        return;
    }
    CompareJob job{.ringPath = ringPath_, .sources = sources_, .sets = {}};
    for (std::size_t side = 0; side < sources_.size(); ++side) {
        if (sources_[side].isOfDocument()) {
            job.sets[side] = sources_[side].take();
        }
        if (job.sets[side] == nullptr && comparison_ != nullptr && (documentsOnly || sources_[side].isOfDocument())) {
            job.sets[side] = side == 0 ? comparison_->left() : comparison_->right();
        }
    }
    if (!documentsOnly) {
        tell({});
    }
    auto made = std::make_shared<std::shared_ptr<const workbench::SetComparison>>();
    const auto work = [job = std::move(job), made](const workbench::WorkControl& control) {
        *made = loadAndCompare(job, control);
    };
    const auto ended = [this, made](const std::string& failure) { take(std::move(*made), failure); };
    jobs_.start(work, ended, [this](const PhoneProgress& progress) {
        progress_->setRange(0, static_cast<int>(progress.count));
        progress_->setValue(static_cast<int>(progress.position));
    });
    progress_->setRange(0, 0);
    showTexts();
}

void CompareWindow::take(std::shared_ptr<const workbench::SetComparison> comparison, const std::string& failure) {
    if (closing_ || (comparison == nullptr && failure.empty() && comparison_ == nullptr)) {
        closing_ = true;
        close();
        return;
    }
    if (comparison != nullptr) {
        comparison_ = std::move(comparison);
        model_->setComparison(comparison_);
        if (actions_.comparedChanged && documentWindow_ != nullptr) {
            actions_.comparedChanged();
        }
    } else {
        tell(failure.empty() ? "Cancelled: these are the values from before." : shownLines(failure));
    }
    showTexts();
}

void CompareWindow::leaveDocument() {
    documentWindow_ = nullptr;
    showButtons();
}

void CompareWindow::documentChanged() {
    tell({});
    if (std::ranges::any_of(sources_, [](const CompareSource& source) { return source.isHome; })) {
        changeTimer_.start();
    }
}

void CompareWindow::tell(const QString& text) {
    message_->setText(text);
    message_->setVisible(!text.isEmpty());
}

void CompareWindow::showTexts() {
    if (comparison_ != nullptr) {
        const workbench::ItemSet& left = *comparison_->left();
        const workbench::ItemSet& right = *comparison_->right();
        setWindowTitle(shownText("Compare: " + left.about().label + " - " + right.about().label));
        sides_->setText(shownLines("Left: " + longLabel(left) + "\nRight: " + longLabel(right)));
        std::string warning = comparison_->identities();
        for (const auto& [side, set] : {std::pair("Left: ", &left), std::pair("Right: ", &right)}) {
            if (!set->about().remark.empty()) {
                warning += (warning.empty() ? "" : "\n") + (side + set->about().remark);
            }
        }
        warning_->setText(shownLines(warning));
        counts_->setText(QString::fromStdString(comparison_->counts()));
        valuesOf_->setItemText(0, shownText("Left: " + left.about().label));
        valuesOf_->setItemText(1, shownText("Right: " + right.about().label));
    } else {
        sides_->setText(jobs_.isRunning() ? "Reading..." : QString());
    }
    warning_->setVisible(!warning_->text().isEmpty());
    counts_->setVisible(comparison_ != nullptr);
    showButtons();
}

void CompareWindow::showButtons() {
    const bool isBusy = jobs_.isRunning();
    const bool isReady = !isBusy && comparison_ != nullptr;
    progress_->setVisible(isBusy);
    cancel_->setVisible(isBusy);
    again_->setEnabled(!isBusy);
    for (QPushButton* button : idleButtons_) {
        button->setEnabled(isReady);
    }
    const auto ticked = model_->ticked();
    std::vector<std::uint32_t> shownRows = model_->shownRows();
    std::ranges::sort(shownRows);
    const auto hidden = std::ranges::count_if(
        ticked, [&](std::uint32_t position) { return !std::ranges::binary_search(shownRows, position); });
    ticked_->setText(ticked.empty() ? QString()
                                    : QString::fromStdString(workbench::counted(ticked.size())) + " ticked" +
                                          (hidden == 0 ? "" : QString(", %1 of them not shown").arg(hidden)));
    tickAll_->setText(ticked.empty() ? "Tick &All" : "Untick &All");
    const bool canGive = isReady && !ticked.empty() && documentWindow_ != nullptr;
    takeOver_->setEnabled(canGive && !isHome(chosenSide()));
    write_->setEnabled(canGive);
}

void CompareWindow::cancel() {
    jobs_.cancel();
    tell("Cancelling...");
}

void CompareWindow::tickAll() {
    if (model_->ticked().empty()) {
        model_->tickShown();
    } else {
        model_->untickAll();
    }
}

std::vector<NvItem> CompareWindow::tickedValues() {
    std::vector<NvItem> values;
    for (const std::uint32_t position : model_->ticked()) {
        const workbench::ItemRow& row = comparison_->rows()[position];
        if (const NvItem* item = chosenSide() == 0 ? row.left : row.right) {
            values.push_back(*item);
        }
    }
    if (values.empty()) {
        tell("None of the ticked items has a value there.");
    }
    return values;
}

void CompareWindow::takeOver() {
    if (auto values = tickedValues(); !values.empty() && documentWindow_ != nullptr) {
        actions_.takeOver(std::move(values));
    }
}

void CompareWindow::write() {
    if (auto values = tickedValues(); !values.empty() && documentWindow_ != nullptr) {
        const auto& from = chosenSide() == 0 ? comparison_->left() : comparison_->right();
        actions_.write(std::move(values), from, sources_.at(chosenSide()).isHome);
    }
}

void CompareWindow::save() {
    const auto path =
        askFileToSave(window(), {"Save Comparison", "CSV File ( *.csv ) |*.csv|JSON File ( *.json ) |*.json||", "csv"});
    if (path && !jobs_.isRunning()) {
        writeFile(*path);
    }
}

void CompareWindow::writeFile(const std::string& path) {
    const auto work = [path, comparison = comparison_, rows = model_->shownRows(), units = model_->units(),
                       differencesOnly = model_->isDifferencesOnly()](const workbench::WorkControl&) {
        const bool isJson = QString::fromStdString(path).endsWith(".json", Qt::CaseInsensitive);
        const auto result =
            kernel::writeWholeFile(path, isJson ? comparisonJson(*comparison, rows, differencesOnly, units)
                                                : comparisonCsv(*comparison, rows, differencesOnly, units));
        if (!result.succeeded()) {
            throw std::runtime_error("Couldn't write '" + path +
                                     "': " + std::generic_category().message(result.error()));
        }
    };
    const auto ended = [this, path](const std::string& failure) {
        if (closing_) {
            close();
            return;
        }
        if (failure.empty()) {
            rememberFolderOf(path);
        }
        tell(shownLines(failure.empty() ? "Saved what is shown to " + path : failure));
        showTexts();
    };
    jobs_.start(work, ended);
    progress_->setRange(0, 0);
    showTexts();
    cancel_->hide(); // it takes its place as a whole or not at all, and soon
}

void CompareWindow::next() {
    if (!tree_->stepToDifference(true)) {
        tell("No difference is shown.");
    }
}

void CompareWindow::previous() {
    if (!tree_->stepToDifference(false)) {
        tell("No difference is shown.");
    }
}

void CompareWindow::closeEvent(QCloseEvent* event) {
    if (!jobs_.isRunning()) {
        if (mdiArea() != nullptr && documentWindow_ != nullptr) {
            mdiArea()->setActiveSubWindow(documentWindow_); // not whichever window was active before
        }
        QMdiSubWindow::closeEvent(event);
        return;
    }
    // What runs ends before its next item; the window closes then.
    closing_ = true;
    jobs_.cancel();
    hide();
    if (mdiArea() != nullptr) {
        mdiArea()->activateNextSubWindow();
    }
    event->ignore();
}

bool CompareWindow::event(QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride && keyOf(*static_cast<QKeyEvent*>(event)) != Key::kNone) {
        event->accept(); // it comes as a key then
        return true;
    }
    return QMdiSubWindow::event(event);
}

void CompareWindow::keyPressEvent(QKeyEvent* event) {
    switch (keyOf(*event)) {
    case Key::kNext:
        next();
        break;
    case Key::kPrevious:
        previous();
        break;
    case Key::kAgain:
        compareAgain();
        break;
    case Key::kFilter:
        filter_->setFocus(Qt::ShortcutFocusReason);
        filter_->selectAll();
        break;
    case Key::kNone:
        QMdiSubWindow::keyPressEvent(event);
        break;
    }
}
