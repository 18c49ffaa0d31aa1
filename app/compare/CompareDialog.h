#pragma once

#include "app/compare/CompareLoad.h"

#include <QDialog>
#include <array>
#include <optional>
#include <vector>

class QComboBox;
class QGridLayout;
class QLineEdit;
class QPushButton;

/// Asks what is to be compared: on each side a document, its last known values, a phone or a file. What was chosen last
/// is offered again, where it still can be. User-interface thread.
class CompareDialog : public QDialog {
    Q_OBJECT
public:
    /// `documents`: what is offered of documents, first of all the one beside which the question is asked, and its last
    /// known values. `comPort` is the port that is offered, and `left` the choice on the left instead of the last one.
    CompareDialog(std::vector<CompareSource> documents, const std::string& comPort, QWidget* parent,
                  std::optional<std::size_t> left = std::nullopt);

    /// Left and right; after acceptance.
    std::array<CompareSource, 2> sources() const;

    void accept() override;

private:
    struct Side {
        const char* name;
        QComboBox* kind = nullptr;
        QLineEdit* place = nullptr;
        QPushButton* browse = nullptr;
    };

    void makeSide(Side& side, const char* title, QGridLayout& grid, int row);
    void recall(Side& side, int firstChoice);
    void kindChosen(Side& side);
    void browse(Side& side);
    void showWhetherComplete();
    CompareSource sourceOf(const Side& side) const;

    const std::vector<CompareSource> choices_;
    const QString comPort_;
    std::array<Side, 2> sides_{{{"left"}, {"right"}}};
    QPushButton* compare_ = nullptr;
};
