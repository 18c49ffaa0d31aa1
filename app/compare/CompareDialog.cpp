#include "app/compare/CompareDialog.h"

#include "app/dialogs/FileDialog.h"
#include "app/dialogs/FocusHelp.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QVBoxLayout>

namespace {

constexpr int kPlaceWidth = 420;

std::vector<CompareSource> withPlaces(std::vector<CompareSource> documents) {
    documents.push_back({.origin = CompareSource::Origin::kPhone, .label = "Phone on the port"});
    documents.push_back({.origin = CompareSource::Origin::kCalibrationFile, .label = "Calibration file"});
    documents.push_back({.origin = CompareSource::Origin::kJsonFile, .label = "JSON file"});
    return documents;
}

FileQuestion questionFor(CompareSource::Origin origin) {
    if (origin == CompareSource::Origin::kCalibrationFile) {
        return {"Compare", "MOX File ( *.mox ) |*.mox|All Files ( *.* )|*.*||", "mox"};
    }
    return {"Compare", "JSON File ( *.json ) |*.json|All Files ( *.* )|*.*||", "json"};
}

QString setting(const char* side, CompareSource::Origin origin) {
    return QString("compare/%1/%2").arg(side).arg(static_cast<int>(origin));
}

} // namespace

CompareDialog::CompareDialog(std::vector<CompareSource> documents, const std::string& comPort, QWidget* parent,
                             std::optional<std::size_t> left)
    : QDialog(parent), choices_(withPlaces(std::move(documents))), comPort_(QString::fromStdString(comPort)) {
    setObjectName("compare_sources");
    setWindowTitle("Compare");
    setHelpPart(*this, "compare");
    auto* grid = new QGridLayout;
    makeSide(sides_[0], "&Left:", *grid, 0);
    makeSide(sides_[1], "&Right:", *grid, 2);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    compare_ = buttons->addButton("&Compare", QDialogButtonBox::AcceptRole);
    compare_->setObjectName("compare_start");
    compare_->setDefault(true);
    buttons->button(QDialogButtonBox::Cancel)->setAutoDefault(false);
    connect(buttons, &QDialogButtonBox::accepted, this, &CompareDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &CompareDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addWidget(buttons);
    recall(sides_[0], 0);
    if (left) {
        sides_[0].kind->setCurrentIndex(static_cast<int>(*left));
    }
    recall(sides_[1], static_cast<int>(choices_.size()) - 2);
    showWhetherComplete();
}

void CompareDialog::makeSide(Side& side, const char* title, QGridLayout& grid, int row) {
    side.kind = new QComboBox;
    side.kind->setObjectName(QString("compare_kind_") + side.name);
    for (const CompareSource& choice : choices_) {
        side.kind->addItem(QString::fromStdString(choice.label));
    }
    side.place = new QLineEdit;
    side.place->setObjectName(QString("compare_place_") + side.name);
    side.place->setMinimumWidth(kPlaceWidth);
    side.place->setAccessibleName(QString("Port or file, ") + side.name);
    side.browse = new QPushButton("Browse...");
    side.browse->setObjectName(QString("compare_browse_") + side.name);
    side.browse->setAutoDefault(false);
    auto* label = new QLabel(title);
    label->setBuddy(side.kind);
    grid.addWidget(label, row, 0);
    grid.addWidget(side.kind, row, 1, 1, 2);
    grid.addWidget(side.place, row + 1, 1);
    grid.addWidget(side.browse, row + 1, 2);
    connect(side.kind, &QComboBox::currentIndexChanged, this, [this, &side] { kindChosen(side); });
    connect(side.place, &QLineEdit::textChanged, this, &CompareDialog::showWhetherComplete);
    connect(side.browse, &QPushButton::clicked, this, [this, &side] { browse(side); });
}

void CompareDialog::recall(Side& side, int firstChoice) {
    const int choice = QSettings().value(QString("compare/%1/choice").arg(side.name), -1).toInt();
    // Other documents come and go, so the last choice is kept as a distance from the end, or as one of the first two.
    const int last = static_cast<int>(choices_.size());
    side.kind->setCurrentIndex(choice >= 0 && choice < 2   ? choice
                               : choice >= 2 && choice < 5 ? last - 5 + choice
                                                           : firstChoice);
    kindChosen(side);
}

void CompareDialog::kindChosen(Side& side) {
    const CompareSource& choice = choices_[static_cast<std::size_t>(side.kind->currentIndex())];
    const bool isPhone = choice.origin == CompareSource::Origin::kPhone;
    side.place->setEnabled(choice.hasPlace());
    side.browse->setEnabled(choice.hasPlace() && !isPhone);
    side.place->setPlaceholderText(isPhone ? "Port" : choice.hasPlace() ? "Path of the file" : "");
    side.place->setText(!choice.hasPlace() ? QString()
                        : isPhone          ? comPort_
                                           : QSettings().value(setting(side.name, choice.origin)).toString());
    showWhetherComplete();
}

void CompareDialog::browse(Side& side) {
    const auto origin = choices_[static_cast<std::size_t>(side.kind->currentIndex())].origin;
    if (const auto path = askFileToOpen(this, questionFor(origin))) {
        side.place->setText(QString::fromStdString(*path));
    }
}

void CompareDialog::showWhetherComplete() {
    if (compare_ != nullptr) {
        compare_->setEnabled(std::ranges::all_of(sides_, [](const Side& side) {
            return !side.place->isEnabled() || !side.place->text().trimmed().isEmpty();
        }));
    }
}

CompareSource CompareDialog::sourceOf(const Side& side) const {
    CompareSource source = choices_[static_cast<std::size_t>(side.kind->currentIndex())];
    if (source.hasPlace()) {
        source.place = side.place->text().trimmed().toStdString();
    }
    return source;
}

std::array<CompareSource, 2> CompareDialog::sources() const {
    return {sourceOf(sides_[0]), sourceOf(sides_[1])};
}

void CompareDialog::accept() {
    const int last = static_cast<int>(choices_.size());
    for (const Side& side : sides_) {
        const int choice = side.kind->currentIndex();
        const int kept = choice < 2 ? choice : choice >= last - 3 ? choice - last + 5 : -1;
        QSettings().setValue(QString("compare/%1/choice").arg(side.name), kept);
        const CompareSource source = sourceOf(side);
        if (source.hasPlace()) {
            QSettings().setValue(setting(side.name, source.origin), QString::fromStdString(source.place));
        }
    }
    QDialog::accept();
}
