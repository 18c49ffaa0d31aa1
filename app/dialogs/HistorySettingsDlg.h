#pragma once

#include "workbench/record/Recorder.h"

#include <QDialog>
#include <filesystem>

class QCheckBox;
class QComboBox;
class QLineEdit;

/// What of reads and writes is recorded, for how long, and with whom it is shared; how large the record is, and what
/// waits to be handed over. OK puts the choices into Calvane.toml, and into the recorder. User-interface thread.
class HistorySettingsDlg : public QDialog {
    Q_OBJECT
public:
    /// `own` is the user's folder; the recorder outlives the dialog.
    HistorySettingsDlg(std::filesystem::path own, record::Recorder& recorder, QWidget* parent);

    /// OK: stays open, after a message, where the settings can't be kept.
    void accept() override;

private:
    void fillPeriods(const record::HistorySettings& settings);
    QString sizeText() const;
    QString waitingText() const;

    const std::filesystem::path own_;
    record::Recorder& recorder_;
    QCheckBox* isOn_;
    QComboBox* keep_;
    QLineEdit* url_;
};
