#include "app/views/FilterBar.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QToolButton>

FilterBar::FilterBar(QWidget* parent)
    : QWidget(parent), line_(new QLineEdit(this)), count_(new QLabel(this)),
      changed_(addSwitch("filter_changed", "Changed", "Only items that differ from the last known values")),
      withoutValue_(addSwitch("filter_without", "Without a Value", "Only items that have no value")),
      readOnly_(addSwitch("filter_readonly", "Read-Only", "Only items that may not be written")) {
    setObjectName("filter_bar");
    line_->setObjectName("filter_line");
    line_->setAccessibleName("Filter");
    line_->setPlaceholderText("Filter: words, or =value");
    line_->setToolTip("Shows the items in whose number, name, descriptions or values all these words stand;\n"
                      "=176 or =0xB0 shows those with a sub-field of just that value");
    line_->setClearButtonEnabled(true);
    line_->installEventFilter(this);
    count_->setObjectName("filter_count");
    count_->setAccessibleName("Items that fit");
    auto* top = new QHBoxLayout;
    top->addWidget(line_, 1);
    top->addWidget(count_);
    auto* switches = new QHBoxLayout;
    for (QToolButton* one : {changed_, withoutValue_, readOnly_}) {
        switches->addWidget(one);
    }
    switches->addStretch(1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->setSpacing(2);
    layout->addLayout(top);
    layout->addLayout(switches);
    connect(line_, &QLineEdit::textChanged, this, &FilterBar::edited);
}

QToolButton* FilterBar::addSwitch(const char* name, const QString& text, const QString& hint) {
    auto* added = new QToolButton(this);
    added->setObjectName(name);
    added->setText(text);
    added->setToolTip(hint);
    added->setAccessibleName(text);
    added->setCheckable(true);
    added->setFocusPolicy(Qt::TabFocus);
    added->installEventFilter(this);
    connect(added, &QToolButton::toggled, this, &FilterBar::edited);
    return added;
}

QString FilterBar::text() const {
    return line_->text();
}

bool FilterBar::wantsChanged() const {
    return changed_->isChecked();
}

bool FilterBar::wantsWithoutValue() const {
    return withoutValue_->isChecked();
}

bool FilterBar::wantsReadOnly() const {
    return readOnly_->isChecked();
}

bool FilterBar::isEmpty() const {
    return line_->text().trimmed().isEmpty() && !wantsChanged() && !wantsWithoutValue() && !wantsReadOnly();
}

void FilterBar::clear() {
    if (isEmpty() && line_->text().isEmpty()) {
        return;
    }
    {
        const QSignalBlocker quiet(this);
        line_->clear();
        for (QToolButton* one : {changed_, withoutValue_, readOnly_}) {
            one->setChecked(false);
        }
    }
    emit edited();
}

void FilterBar::focusLine() {
    line_->setFocus(Qt::ShortcutFocusReason);
    line_->selectAll();
}

void FilterBar::showCount(std::size_t fitting, std::size_t all) {
    count_->setText(fitting == 0 ? QString("no item") : QString("%1 of %2").arg(fitting).arg(all));
    showNone(fitting == 0);
}

void FilterBar::showNoCount() {
    count_->clear();
    showNone(false);
}

void FilterBar::showNone(bool none) {
    none_ = none;
    QPalette colours; // that of the desktop, where nothing is set
    if (none) {
        const QColor base = palette().color(QPalette::Active, QPalette::Base);
        colours = palette();
        colours.setColor(QPalette::Base, {(3 * base.red() + 255) / 4, 3 * base.green() / 4, 3 * base.blue() / 4});
    }
    line_->setPalette(colours);
    QFont bold = font();
    bold.setBold(none);
    count_->setFont(bold);
}

void FilterBar::escape() {
    if (isEmpty()) {
        emit left();
    } else {
        clear();
    }
}

bool FilterBar::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        const bool inLine = watched == line_;
        if (key == Qt::Key_Escape) {
            escape();
            return true;
        }
        if (inLine && (key == Qt::Key_Down || key == Qt::Key_Return || key == Qt::Key_Enter)) {
            emit accepted();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void FilterBar::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) {
        showNone(none_);
    }
}
