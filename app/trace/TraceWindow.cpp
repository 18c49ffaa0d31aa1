#include "app/trace/TraceWindow.h"

#include "app/dialogs/FileDialog.h"
#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/ShownText.h"
#include "app/trace/TraceModel.h"
#include "platform/kernel/WholeFile.h"
#include "tessra/trace/TraceText.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>
#include <stdexcept>
#include <system_error>

namespace {

constexpr int kBatchMs = 50;
constexpr int kFilterDelayMs = 150;
constexpr int kDetailLines = 5;
constexpr QSize kFirstSize{940, 560};

/// As wide as what usually stands in the column, and some more.
constexpr const char* kWidest[TraceModel::kColumns] = {
    "00:00:00.000000", "COM10", "from phone", "bad-parameters", "65535", "65535", ""};

QString counted(std::uint64_t count, const QString& what) {
    return QLocale().toString(static_cast<qulonglong>(count)) + ' ' + what + (count == 1 ? "" : "s");
}

} // namespace

TraceWindow::TraceWindow(std::shared_ptr<UserInterface> userInterface, TraceSource source, QWidget* mainWindow)
    : QWidget(mainWindow, Qt::Window), userInterface_(std::move(userInterface)), source_(std::move(source)),
      model_(new TraceModel(source_.recorder->begin(), this)), filter_(new QLineEdit),
      pause_(new QPushButton("&Pause")), save_(new QPushButton("&Save...")), table_(new QTableView),
      detail_(new QPlainTextEdit), counts_(plainLabel("trace_counts")), message_(plainLabel("trace_message")),
      jobs_(*userInterface_) {
    setObjectName("trace");
    setWindowTitle("Trace");
    setHelpPart(*this, "trace");
    resize(kFirstSize);
    auto* column = new QVBoxLayout(this);
    makeTop(*column);
    makeTable();
    column->addWidget(table_, 1);
    detail_->setObjectName("trace_bytes");
    detail_->setAccessibleName("Bytes of the selected packet");
    detail_->setReadOnly(true);
    detail_->setTabChangesFocus(true);
    detail_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    detail_->setFixedHeight(kDetailLines * detail_->fontMetrics().lineSpacing() + 2 * detail_->frameWidth());
    column->addWidget(detail_);
    column->addWidget(message_);
    column->addWidget(counts_);
    batchTimer_.setInterval(kBatchMs);
    connect(&batchTimer_, &QTimer::timeout, this, &TraceWindow::takeRecords);
    filterTimer_.setSingleShot(true);
    filterTimer_.setInterval(kFilterDelayMs);
    connect(&filterTimer_, &QTimer::timeout, this, &TraceWindow::applyFilter);
    message_->hide();
    table_->setFocus();
}

TraceWindow::~TraceWindow() {
    source_.recorder->setOn(false);
}

void TraceWindow::makeTop(QBoxLayout& column) {
    filter_->setObjectName("trace_filter");
    filter_->setAccessibleName("Filter");
    filter_->setPlaceholderText("Such as: read < 1007, status=5, bytes=26ef, COM2");
    filter_->setClearButtonEnabled(true);
    connect(filter_, &QLineEdit::textChanged, &filterTimer_, qOverload<>(&QTimer::start));
    auto* label = new QLabel("&Filter:");
    label->setBuddy(filter_);
    pause_->setObjectName("trace_pause");
    pause_->setCheckable(true);
    pause_->setToolTip("While it is pressed, packets are not recorded");
    connect(pause_, &QPushButton::toggled, this, &TraceWindow::followRecording);
    auto* clearAll = new QPushButton("&Clear");
    clearAll->setObjectName("trace_clear");
    clearAll->setToolTip("Forgets all packets");
    connect(clearAll, &QPushButton::clicked, this, &TraceWindow::clear);
    save_->setObjectName("trace_save");
    save_->setToolTip("Writes all packets, also those that the filter hides, to a file");
    connect(save_, &QPushButton::clicked, this, &TraceWindow::save);
    auto* row = new QHBoxLayout;
    row->addWidget(label);
    row->addWidget(filter_, 1);
    for (QPushButton* button : {pause_, clearAll, save_}) {
        row->addWidget(button);
    }
    column.addLayout(row);
}

void TraceWindow::makeTable() {
    table_->setObjectName("trace_packets");
    table_->setAccessibleName("Packets");
    table_->setModel(model_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setTabKeyNavigation(false);
    table_->setWordWrap(false);
    table_->setShowGrid(false);
    table_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    table_->verticalHeader()->hide();
    const QFontMetrics metrics(table_->font());
    table_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table_->verticalHeader()->setDefaultSectionSize(metrics.height() + 4);
    for (int section = 0; section < TraceModel::kBytes; ++section) {
        const int title = table_->horizontalHeader()->sectionSizeHint(section);
        table_->setColumnWidth(section, std::max(title, metrics.horizontalAdvance(kWidest[section]) + 16));
    }
    table_->horizontalHeader()->setStretchLastSection(true);
    table_->horizontalHeader()->setHighlightSections(false);
    auto* copy = new QAction("Copy", table_);
    copy->setShortcut(QKeySequence::Copy);
    copy->setShortcutContext(Qt::WidgetShortcut);
    connect(copy, &QAction::triggered, this, &TraceWindow::copyRows);
    table_->addAction(copy);
    table_->setContextMenuPolicy(Qt::ActionsContextMenu);
    connect(table_->selectionModel(), &QItemSelectionModel::currentChanged, this, &TraceWindow::showDetail);
    connect(model_, &QAbstractItemModel::modelReset, this, &TraceWindow::showDetail);
}

void TraceWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!event->spontaneous()) {
        batchTimer_.start();
        followRecording();
    }
}

void TraceWindow::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    if (!event->spontaneous()) { // else it is minimized
        source_.recorder->setOn(false);
        takeRecords();
        batchTimer_.stop();
    }
}

void TraceWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void TraceWindow::followRecording() {
    source_.recorder->setOn(!pause_->isChecked());
    showCounts();
}

// The end of the table stays in view, unless the user has scrolled away from it.
void TraceWindow::takeRecords() {
    tessra::TraceBuffer::Batch batch = source_.buffer->takeAll();
    if (batch.records.empty() && batch.dropped == 0) {
        return;
    }
    const QScrollBar& bar = *table_->verticalScrollBar();
    const bool isAtEnd = bar.value() == bar.maximum();
    model_->append(std::move(batch));
    if (isAtEnd) {
        table_->scrollToBottom();
    }
    showCounts();
}

void TraceWindow::applyFilter() {
    model_->setFilter(PacketFilter(filter_->text().toStdString()));
    table_->scrollToBottom();
    showCounts();
}

void TraceWindow::clear() {
    source_.buffer->takeAll();
    model_->clear();
    message_->hide();
    showCounts();
}

void TraceWindow::save() {
    const auto path = askFileToSave(this, {"Save Trace", "Trace ( *.trc ) |*.trc|All Files ( *.* )|*.*||", "trc"});
    if (path && !jobs_.isRunning()) {
        writeFile(*path);
    }
}

void TraceWindow::writeFile(const std::string& path) {
    const auto work = [path, begin = model_->begin(), dropped = model_->dropped(),
                       records = model_->records()](const workbench::WorkControl&) {
        std::string text = tessra::traceHeadLine(begin);
        if (dropped > 0) {
            text += "# " + std::to_string(dropped) + " earlier packets are not in it.\n";
        }
        for (const tessra::TraceRecord& record : records) {
            text += tessra::traceLine(record);
        }
        if (const auto result = kernel::writeWholeFile(path, text); !result.succeeded()) {
            throw std::runtime_error("Couldn't write '" + path +
                                     "': " + std::generic_category().message(result.error()));
        }
    };
    const auto ended = [this, path, count = model_->records().size()](const std::string& failure) {
        if (failure.empty()) {
            rememberFolderOf(path);
        }
        message_->setText(failure.empty() ? counted(count, "packet") + " saved to " + shownText(path)
                                          : shownLines(failure));
        message_->show();
        save_->setEnabled(true);
    };
    save_->setEnabled(false);
    jobs_.start(work, ended);
}

void TraceWindow::copyRows() const {
    QModelIndexList rows = table_->selectionModel()->selectedRows();
    std::ranges::sort(rows, {}, &QModelIndex::row);
    std::string text;
    for (const QModelIndex& row : rows) {
        text += tessra::traceLine(model_->record(row.row()));
    }
    QApplication::clipboard()->setText(QString::fromStdString(text));
}

void TraceWindow::showDetail() {
    const QModelIndex current = table_->currentIndex();
    detail_->setPlainText(
        current.isValid() ? QString::fromStdString(tessra::traceBytes(model_->record(current.row()), " ")) : QString());
}

void TraceWindow::showCounts() {
    const auto all = model_->records().size();
    const auto shown = static_cast<std::size_t>(model_->rowCount());
    QString text = pause_->isChecked() ? "Paused: nothing is recorded. " : "Recording. ";
    text += counted(all, "packet");
    if (shown != all) {
        text += ", " + QLocale().toString(static_cast<qulonglong>(shown)) + " of them shown";
    }
    if (model_->dropped() > 0) {
        text += ". No more than " + QLocale().toString(static_cast<qulonglong>(TraceModel::kMaxRecords)) +
                " are kept: " + counted(model_->dropped(), "older one") + " dropped";
    }
    counts_->setText(text + '.');
}
