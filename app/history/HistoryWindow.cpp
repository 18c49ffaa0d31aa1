#include "app/history/HistoryWindow.h"

#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/ShownText.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QSplitter>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>
#include <map>

namespace {

constexpr QSize kFirstSize{1180, 660};
constexpr double kShareOfScreen = 0.94; ///< at most, for the window with its frame
constexpr int kPhonesWidth = 360;
const std::vector<int> kPhoneWidths{8, 11};
const std::vector<int> kSessionWidths{18, 20, 13, 5, 6, 9};
const std::vector<int> kItemWidths{6, 26, 16, 16};

/// A table below the line that names it; `beside` stands in that line.
QWidget* titled(const char* title, QWidget& table, const std::vector<QWidget*>& beside = {}) {
    auto* pane = new QWidget;
    auto* column = new QVBoxLayout(pane);
    column->setContentsMargins(0, 0, 0, 0);
    auto* row = new QHBoxLayout;
    auto* label = new QLabel(title);
    label->setBuddy(&table);
    row->addWidget(label);
    for (QWidget* widget : beside) {
        row->addWidget(widget, qobject_cast<QLineEdit*>(widget) != nullptr ? 1 : 0);
    }
    if (beside.empty() || qobject_cast<QLineEdit*>(beside.front()) == nullptr) {
        row->addStretch(1);
    }
    column->addLayout(row);
    column->addWidget(&table, 1);
    return pane;
}

std::string aboutOf(const record::ShownStore& shown) {
    return (shown.isShared ? "The shared record" : "The record of this computer") +
           (shown.remark.empty() ? "." : ". " + shown.remark);
}

} // namespace

HistoryWindow::HistoryWindow(std::shared_ptr<UserInterface> userInterface, HistorySource source, HistoryActions actions,
                             QWidget* mainWindow)
    : QWidget(mainWindow, Qt::Window), userInterface_(std::move(userInterface)), source_(std::move(source)),
      actions_(std::move(actions)), phoneTable_("history_phones", "Phones", phoneTitles(), kPhoneWidths, this),
      sessionTable_("history_sessions", "Sessions of the phone", sessionTitles(), kSessionWidths, this),
      itemTable_("history_items", "Items of the session", itemTitles(), kItemWidths, this),
      store_(plainLabel("history_store")), message_(plainLabel("history_message")), filter_(new QLineEdit),
      changedOnly_(new QCheckBox("C&hanged only")), values_(new QComboBox),
      desk_(
          *userInterface_, source_, [this] { showState(); },
          [this](const std::string& failure) { tell(shownLines(failure)); }) {
    setObjectName("history");
    setWindowTitle("History");
    setHelpPart(*this, "history");
    resize(kFirstSize.boundedTo(screen()->availableSize() * kShareOfScreen));
    auto* column = new QVBoxLayout(this);
    column->addWidget(store_);
    auto* right = new QSplitter(Qt::Vertical);
    right->setChildrenCollapsible(false);
    right->addWidget(makeSessions());
    right->addWidget(makeItems());
    auto* both = new QSplitter;
    both->setChildrenCollapsible(false);
    both->addWidget(makePhones());
    both->addWidget(right);
    both->setStretchFactor(1, 1);
    both->setSizes({kPhonesWidth, kFirstSize.width() - kPhonesWidth});
    column->addWidget(both, 1);
    column->addWidget(message_);
    makeCommands(*column);
    makeKeys();
    message_->hide();
    showButtons();
    phoneTable_.view().setFocus();
}

QPushButton* HistoryWindow::addButton(QBoxLayout& row, const char* name, const char* text,
                                      void (HistoryWindow::*pressed)()) {
    auto* button = new QPushButton(text);
    button->setObjectName(name);
    connect(button, &QPushButton::clicked, this, pressed);
    row.addWidget(button);
    return button;
}

QWidget* HistoryWindow::makePhones() {
    filter_->setObjectName("history_filter");
    filter_->setPlaceholderText("Filter (Ctrl+F)");
    filter_->setAccessibleName("Filter the phones");
    filter_->setClearButtonEnabled(true);
    connect(filter_, &QLineEdit::textChanged, &phoneTable_.shown(), &QSortFilterProxyModel::setFilterFixedString);
    connect(phoneTable_.view().selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &HistoryWindow::askSessions);
    connect(&phoneTable_.view(), &QTableView::activated, this, [this] { sessionTable_.view().setFocus(); });
    return titled("&Phones:", phoneTable_.view(), {filter_});
}

QWidget* HistoryWindow::makeSessions() {
    connect(sessionTable_.view().selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &HistoryWindow::askItems);
    connect(&sessionTable_.view(), &QTableView::activated, this, &HistoryWindow::openAsDocument);
    return titled("S&essions:", sessionTable_.view());
}

QWidget* HistoryWindow::makeItems() {
    changedOnly_->setObjectName("history_changed_only");
    connect(changedOnly_, &QCheckBox::toggled, this, &HistoryWindow::showItems);
    auto* buttons = new QWidget;
    auto* row = new QHBoxLayout(buttons);
    row->setContentsMargins(0, 0, 0, 0);
    itemButtons_ = {addButton(*row, "history_over_time", "Over Ti&me...", &HistoryWindow::showOverTime),
                    addButton(*row, "history_over_phones", "O&ver All Phones...", &HistoryWindow::showOverPhones)};
    itemButtons_[0]->setToolTip("Shows the values that the selected item of this phone has had");
    itemButtons_[1]->setToolTip("Shows the values of the selected item on all phones");
    connect(itemTable_.view().selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &HistoryWindow::showButtons);
    connect(&itemTable_.view(), &QTableView::activated, this, &HistoryWindow::showOverTime);
    return titled("&Items:", itemTable_.view(), {changedOnly_, buttons});
}

void HistoryWindow::makeCommands(QBoxLayout& column) {
    values_->setObjectName("history_values");
    values_->setAccessibleName("Values of the session");
    values_->addItems({"after it", "before it"});
    values_->setToolTip("Which values of the session are opened, compared and restored");
    auto* label = new QLabel("V&alues:");
    label->setBuddy(values_);
    auto* row = new QHBoxLayout;
    row->setSpacing(3); // all of them find room in 640 pixels
    row->addStretch(1);
    row->addWidget(label);
    row->addWidget(values_);
    sessionButtons_ = {addButton(*row, "history_open", "&Open as Document", &HistoryWindow::openAsDocument),
                       addButton(*row, "history_compare", "&Compare With...", &HistoryWindow::compare),
                       addButton(*row, "history_restore", "&Restore...", &HistoryWindow::restore),
                       addButton(*row, "history_report", "Repor&t...", &HistoryWindow::report),
                       addButton(*row, "history_note", "&Note...", &HistoryWindow::editNote)};
    sessionButtons_[0]->setToolTip("Opens a document window with these values");
    sessionButtons_[2]->setToolTip("Shows what it takes to put these values back on the phone, before it is done");
    sessionButtons_[3]->setToolTip("Writes a page about the session, as HTML or PDF");
    column.addLayout(row);
}

void HistoryWindow::makeKeys() {
    connect(new QShortcut(QKeySequence::Find, this), &QShortcut::activated, this, [this] {
        filter_->setFocus(Qt::ShortcutFocusReason);
        filter_->selectAll();
    });
    connect(new QShortcut(QKeySequence(Qt::Key_F5), this), &QShortcut::activated, this, [this] { refresh(); });
    // From the filter on to what it has found.
    connect(filter_, &QLineEdit::returnPressed, this, [this] {
        if (!phoneTable_.view().currentIndex().isValid()) {
            phoneTable_.view().selectRow(0);
        }
        phoneTable_.view().setFocus();
    });
}

void HistoryWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void HistoryWindow::refresh(const std::string& uuid) {
    tell({});
    desk_.ask(
        kPhones,
        [uuid](StoreLink& link) {
            link.openAnew();
            const auto wanted = uuid.empty() ? std::nullopt : link.sessionWherever(uuid);
            return Known{aboutOf(link.opened()), link.opened().place, link.history().phones(), wanted,
                         link.isOwnInstead()};
        },
        [this, uuid](Known known) {
            if (!uuid.empty() && !known.wanted) {
                tell("The session is not in this store (yet): " + shownText(uuid));
            }
            takePhones(std::move(known));
        });
}

void HistoryWindow::takePhones(Known known) {
    const auto before = phone() == nullptr ? std::nullopt : std::optional(*phone());
    const auto isWanted = [&](const record::PhoneRow& row) {
        if (known.wanted) {
            const record::Session& wanted = *known.wanted;
            return row.serial == wanted.phone.serialNumber && row.model == wanted.phone.model &&
                   (!row.serial.empty() || row.port == wanted.port);
        }
        return before && row.serial == before->serial && row.model == before->model && row.port == before->port;
    };
    wantedSession_ = known.wanted ? known.wanted->uuid : session() != nullptr ? session()->uuid : std::string();
    about_ = known.about;
    isOwnInstead_ = known.isOwnInstead;
    store_->setToolTip(plainToolTip(shownText(known.place)));
    if (known.wanted) {
        filter_->clear();
    }
    phones_ = std::move(known.phones);
    phoneTable_.model().setRows(rowsOf(phones_));
    const auto found = std::ranges::find_if(phones_, isWanted);
    if (phones_.empty()) {
        takeSessions({});
    } else {
        phoneTable_.select(found == phones_.end() ? 0 : static_cast<int>(found - phones_.begin()));
    }
    showState();
}

const record::PhoneRow* HistoryWindow::phone() const {
    const int row = phoneTable_.current();
    return row < 0 ? nullptr : &phones_[static_cast<std::size_t>(row)];
}

const record::Session* HistoryWindow::session() const {
    const int row = sessionTable_.current();
    return row < 0 ? nullptr : &sessions_[static_cast<std::size_t>(row)];
}

void HistoryWindow::askSessions() {
    takeSessions({});
    if (phone() == nullptr) {
        return;
    }
    desk_.ask(
        kSessions, [id = phone()->id](StoreLink& link) { return link.history().sessions({.phone = id}); },
        [this, id = phone()->id](std::vector<record::Session> sessions) {
            if (phone() != nullptr && phone()->id == id) {
                takeSessions(std::move(sessions));
            }
        });
}

void HistoryWindow::takeSessions(std::vector<record::Session> sessions) {
    sessions_ = std::move(sessions);
    sessionTable_.model().setRows(rowsOf(sessions_));
    if (sessions_.empty()) {
        askItems();
        return;
    }
    const auto found = std::ranges::find(sessions_, wantedSession_, &record::Session::uuid);
    wantedSession_.clear();
    sessionTable_.select(found == sessions_.end() ? 0 : static_cast<int>(found - sessions_.begin()));
}

void HistoryWindow::askItems() {
    items_ = {};
    showItems();
    const bool hasBefore = session() != nullptr && session()->kind != record::SessionKind::kRead;
    values_->setEnabled(hasBefore);
    if (!hasBefore) {
        values_->setCurrentIndex(0);
    }
    if (session() == nullptr || phone() == nullptr) {
        return;
    }
    desk_.ask(
        kItems,
        [session = *session(), phone = phone()->id](StoreLink& link) {
            const bool isRead = session.kind == record::SessionKind::kRead;
            const auto known = isRead ? link.history().valuesBefore(phone, session.begun)
                                      : std::map<std::uint16_t, record::ItemData>();
            return shownItems(link.itemsOf(session), known, link.catalog());
        },
        [this, uuid = session()->uuid](std::vector<ShownItem> items) {
            if (session() != nullptr && session()->uuid == uuid) {
                items_ = std::move(items);
                showItems();
            }
        });
}

void HistoryWindow::showItems() {
    shownItems_.clear();
    for (const ShownItem& item : items_) {
        if (item.isChanged || !changedOnly_->isChecked()) {
            shownItems_.push_back(&item);
        }
    }
    itemTable_.model().setRows(rowsOf(shownItems_));
    itemTable_.select(0);
    showButtons();
}

void HistoryWindow::showState() {
    store_->setText(desk_.isAsking() ? "Asking... " + shownLines(about_) : shownLines(about_));
    showButtons();
}

void HistoryWindow::showButtons() {
    for (QPushButton* button : sessionButtons_) {
        button->setEnabled(session() != nullptr);
    }
    for (QPushButton* button : itemButtons_) {
        button->setEnabled(itemTable_.current() >= 0);
    }
}

void HistoryWindow::tell(const QString& text) {
    message_->setText(text);
    message_->setVisible(!text.isEmpty());
}

record::Which HistoryWindow::which() const {
    return values_->currentIndex() == 1 ? record::Which::kBefore : record::Which::kAfter;
}
