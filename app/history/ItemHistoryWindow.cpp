#include "app/history/ItemHistoryWindow.h"

#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/ShownText.h"
#include "app/history/HistoryRows.h"
#include "workbench/record/SessionText.h"
#ifdef CALVANE_CURVES
#include "app/history/ItemCharts.h"
#endif

#include <QComboBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QScreen>
#include <QShortcut>
#include <QSplitter>
#include <QTabWidget>
#include <QTableView>
#include <QVBoxLayout>

namespace {

constexpr QSize kFirstSize{760, 600};
constexpr double kShareOfScreen = 0.94; ///< at most, for the window with its frame
constexpr int kChartHeight = 220;       ///< and of the table below it, as shares
const std::vector<int> kChangeWidths{18, 18, 20, 14};
const std::vector<int> kSpreadWidths{32, 12, 18};

} // namespace

ItemHistoryWindow::ItemHistoryWindow(std::shared_ptr<UserInterface> userInterface, HistorySource source,
                                     QWidget* mainWindow)
    : QWidget(mainWindow, Qt::Window), userInterface_(std::move(userInterface)), source_(std::move(source)),
      head_(plainLabel("item_history_head")), message_(plainLabel("item_history_message")),
      summary_(plainLabel("item_history_summary")), field_(new QComboBox), tabs_(new QTabWidget),
      changes_("item_history_changes", "Values over time", changeTitles(), kChangeWidths, this),
      spread_("item_history_phones", "Values of the phones", spreadTitles(), kSpreadWidths, this),
      desk_(
          *userInterface_, source_, [this] { showState(); },
          [this](const std::string& failure) { showState(shownLines(failure)); }) {
    setObjectName("item_history");
    setWindowTitle("History of an Item");
    setHelpPart(*this, "history");
    resize(kFirstSize.boundedTo(screen()->availableSize() * kShareOfScreen));
    field_->setObjectName("item_history_field");
    field_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    field_->setMinimumContentsLength(24);
    connect(field_, &QComboBox::currentIndexChanged, this, &ItemHistoryWindow::showField);
    auto* label = new QLabel("&Sub-field:");
    label->setBuddy(field_);
    auto* row = new QHBoxLayout;
    row->addWidget(label);
    row->addWidget(field_, 1);
    auto* column = new QVBoxLayout(this);
    column->addWidget(head_);
    column->addLayout(row);
    makeTabs();
    column->addWidget(tabs_, 1);
    column->addWidget(message_);
    message_->hide();
    connect(new QShortcut(QKeySequence(Qt::Key_F5), this), &QShortcut::activated, this,
            [this] { showItem(question_, tabs_->currentIndex() == 1); });
}

void ItemHistoryWindow::makeTabs() {
    const auto addTab = [this](const QString& title, QWidget* above, QWidget* chart, QTableView& table) {
        auto* split = new QSplitter(Qt::Vertical);
        split->setChildrenCollapsible(false);
        if (chart != nullptr) {
            split->addWidget(chart);
        }
        split->addWidget(&table);
        split->setSizes({kChartHeight, kChartHeight});
        auto* page = new QWidget;
        auto* column = new QVBoxLayout(page);
        if (above != nullptr) {
            column->addWidget(above);
        }
        column->addWidget(split, 1);
        tabs_->addTab(page, title);
    };
    tabs_->setObjectName("item_history_tabs");
#ifdef CALVANE_CURVES
    timeChart_ = new ItemChart;
    spreadChart_ = new ItemChart;
    addTab("Over &Time", nullptr, timeChart_, changes_.view());
    addTab("Over &All Phones", summary_, spreadChart_, spread_.view());
#else
    addTab("Over &Time", nullptr, nullptr, changes_.view());
    addTab("Over &All Phones", summary_, nullptr, spread_.view());
#endif
}

void ItemHistoryWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void ItemHistoryWindow::showItem(const ItemQuestion& question, bool overPhones) {
    if (question.number != question_.number || question.phone != question_.phone || question.port != question_.port) {
        question_ = question;
        take({});
    }
    tabs_->setCurrentIndex(overPhones ? 1 : 0);
    desk_.ask(
        0, [question](StoreLink& link) { return askItemHistory(link, question); },
        [this](ItemHistory history) { take(std::move(history)); });
}

void ItemHistoryWindow::take(ItemHistory history) {
    const int chosen = field_->currentIndex();
    history_ = std::move(history);
    QStringList fields;
    for (const SubItem& field : history_.layout.getSubItems()) {
        fields << QString("[%1] ").arg(fields.size() + 1) + shownText(field.description);
    }
    {
        const QSignalBlocker blocker(field_);
        field_->clear();
        field_->addItems(fields);
        field_->setCurrentIndex(chosen >= 0 && chosen < fields.size() ? chosen : 0);
    }
    field_->setEnabled(fields.size() > 1);
    showField();
}

void ItemHistoryWindow::showField() {
    const auto field = static_cast<std::size_t>(std::max(0, field_->currentIndex()));
    const workbench::FieldUnit* unit = source_.units.find(question_.number, field);
    showChanges(field, unit);
    showSpread(field, unit);
    showState();
}

void ItemHistoryWindow::showState(const QString& failure) {
    std::string head = "Item " + std::to_string(question_.number);
    if (!history_.layout.getName().empty()) {
        head += ' ' + history_.layout.getName();
    }
    if (question_.phone != workbench::PhoneIdentity()) {
        head += " of " + record::phoneText(question_.phone.model, question_.phone.serialNumber, question_.port);
    }
    head_->setText((desk_.isAsking() ? "Asking... " : "") + shownText(head));
    setWindowTitle(shownText(head));
    const bool isUnknown = !desk_.isAsking() && !history_.layout.getName().empty() && history_.changes.empty();
    message_->setText(!failure.isEmpty() ? failure
                      : isUnknown        ? QString("The record has no value of this item on this phone.")
                                         : QString());
    message_->setVisible(!message_->text().isEmpty());
}

namespace {

#ifdef CALVANE_CURVES
/// What the values on an axis are in.
QString axisOf(const NvItem& item, std::size_t field, const workbench::FieldUnit* unit) {
    const auto types = item.getSubItemTypes();
    return unit != nullptr && !unit->unit.empty() ? shownText(unit->unit)
           : field < types.size()                 ? shownText(subItemTypeInfo(types[field]).displaySpelling)
                                                  : QString();
}
#endif

} // namespace

void ItemHistoryWindow::showChanges(std::size_t field, const workbench::FieldUnit* unit) {
    changes_.model().setRows(rowsOf(history_, field, unit));
#ifdef CALVANE_CURVES
    std::vector<record::ValueOfPhone> values;
    for (auto change = history_.changes.rbegin(); change != history_.changes.rend(); ++change) {
        record::ValueOfPhone& value = values.emplace_back();
        value.since = change->since;
        std::ranges::copy(change->item.rawData(), value.data.begin());
    }
    const auto numbers = record::numbersOf(values, history_.layout, field);
    std::vector<QPointF> points;
    for (std::size_t position = 0; position < numbers.size(); ++position) {
        const double raw = numbers[position].number;
        points.emplace_back(static_cast<double>(record::msOf(values[position].since)),
                            unit == nullptr ? raw : unit->physical(raw));
    }
    timeChart_->showSteps(std::move(points), axisOf(history_.layout, field, unit));
#endif
}

void ItemHistoryWindow::showSpread(std::size_t field, const workbench::FieldUnit* unit) {
    const FieldSpread spread(history_, field, unit);
    spread_.model().setRows(spread.rows());
    if (const int own = spread.ownRow(); own >= 0) {
        spread_.select(own);
    }
    summary_->setText(spread.summary());
#ifdef CALVANE_CURVES
    if (spread.numbers().empty()) {
        spreadChart_->clear();
        return;
    }
    const auto own = spread.own();
    const auto verdict = own ? spread.usual().judge(*own) : record::Verdict::kNotKnown;
    ItemChart::Spread shown{.histogram = record::histogramOf(spread.numbers()),
                            .median = spread.usual().median(),
                            .lowest = spread.usual().lowest(),
                            .highest = spread.usual().highest(),
                            .isKnown = spread.isUsualKnown(),
                            .own = own,
                            .isOwnUnusual =
                                verdict == record::Verdict::kUnusual || verdict == record::Verdict::kUnlikeMost,
                            .unusualWord = verdict == record::Verdict::kUnlikeMost ? "unlike most" : "unusual",
                            .valueOf = {}};
    // By value: it is drawn again whenever the colours change.
    const auto meaning = unit == nullptr ? std::nullopt : std::optional(*unit);
    shown.valueOf = [meaning](double raw) { return meaning ? meaning->physical(raw) : raw; };
    spreadChart_->showSpread(std::move(shown), axisOf(history_.layout, field, unit));
#endif
}
