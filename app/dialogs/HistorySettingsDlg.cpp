#include "app/dialogs/HistorySettingsDlg.h"

#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/MessageBox.h"
#include "app/dialogs/ShownText.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <array>
#include <stdexcept>

namespace {

constexpr int kUrlWidth = 340;

struct Period {
    const char* text;
    int days;
};
constexpr std::array kPeriods{Period{"For ever", 0}, Period{"For 3 months", 91}, Period{"For 1 year", 365},
                              Period{"For 2 years", 730}, Period{"For 5 years", 1825}};

/// A text that may be long, such as a path or what a server says.
QLabel* wrapped(const QString& text) {
    auto* label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

HistorySettingsDlg::HistorySettingsDlg(std::filesystem::path own, record::Recorder& recorder, QWidget* parent)
    : QDialog(parent), own_(std::move(own)), recorder_(recorder),
      isOn_(new QCheckBox("&Record what is read from phones and written to them")), keep_(new QComboBox),
      url_(new QLineEdit) {
    setObjectName("history_settings");
    setWindowTitle("History");
    setHelpPart(*this, "history-settings");
    const record::HistorySettings settings = recorder_.settings();
    isOn_->setObjectName("history_on");
    isOn_->setChecked(settings.isOn);
    keep_->setObjectName("history_keep");
    fillPeriods(settings);
    url_->setObjectName("history_url");
    url_->setText(QString::fromStdString(settings.sharedUrl));
    url_->setPlaceholderText("postgresql://HOST/DATABASE");
    url_->setMinimumWidth(kUrlWidth);
    url_->setToolTip("A PostgreSQL database that several computers share. Its password belongs into ~/.pgpass.");
    auto* layout = new QFormLayout(this);
    layout->setRowWrapPolicy(QFormLayout::WrapLongRows);
    layout->addRow(isOn_);
    layout->addRow("&Keep sessions:", keep_);
    layout->addRow("&Shared store:", url_);
    layout->addRow("On this computer:", wrapped(sizeText()));
    layout->addRow("To be handed over:", wrapped(waitingText()));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &HistorySettingsDlg::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &HistorySettingsDlg::reject);
    layout->addRow(buttons);
}

void HistorySettingsDlg::fillPeriods(const record::HistorySettings& settings) {
    const int days = settings.keep ? static_cast<int>(settings.keep->count()) : 0;
    for (const Period& period : kPeriods) {
        keep_->addItem(period.text, period.days);
    }
    if (keep_->findData(days) < 0) {
        keep_->addItem(QString("For %1 days").arg(days), days); // as the file says
    }
    keep_->setCurrentIndex(keep_->findData(days));
}

QString HistorySettingsDlg::sizeText() const {
    const std::filesystem::path file = recorder_.settings().file;
    std::uintmax_t bytes = 0;
    for (const char* suffix : {"", "-wal"}) {
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(file.string() + suffix, error);
        bytes += error ? 0 : size;
    }
    return QLocale().formattedDataSize(static_cast<qint64>(bytes)) + " in " + shownText(file.string());
}

QString HistorySettingsDlg::waitingText() const {
    if (recorder_.settings().sharedUrl.empty()) {
        return "nothing: no store is shared";
    }
    const auto waiting = recorder_.waiting();
    if (!waiting) {
        return "not yet known";
    }
    const QString count = waiting->sessions == 1 ? QString("1 session") : QString("%1 sessions").arg(waiting->sessions);
    return waiting->reason.empty() ? count : count + ": " + shownText(waiting->reason);
}

void HistorySettingsDlg::accept() {
    record::HistorySettings settings = recorder_.settings();
    settings.isOn = isOn_->isChecked();
    const int days = keep_->currentData().toInt();
    settings.keep = days == 0 ? std::nullopt : std::optional(std::chrono::days(days));
    settings.sharedUrl = url_->text().trimmed().toStdString();
    try {
        if (!settings.sharedUrl.empty()) {
            record::checkSharedUrl(settings.sharedUrl);
        }
        record::saveSettings(own_, settings);
    } catch (const std::runtime_error& failure) {
        QString text = shownLines(failure.what());
        text[0] = text[0].toUpper(); // a path begins with none
        showMessageBox(this, text, windowTitle(), MessageIcon::kExclamation);
        return;
    }
    recorder_.setSettings(settings);
    QDialog::accept();
}
