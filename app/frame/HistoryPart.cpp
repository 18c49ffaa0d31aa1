#include "app/frame/HistoryPart.h"

#include "app/frame/CCalvaneApp.h"
#include "app/frame/CMainFrame.h"
#include "app/frame/CSplitterFrame.h"
#include "app/frame/ComparePart.h"
#include "app/frame/QtUserInterface.h"
#include "app/history/ItemHistoryWindow.h"
#include "app/views/CNvParam.h"
#include "app/views/EditHistory.h"
#include "workbench/LoadedDate.h"
#include "workbench/NumberTexts.h"
#include "workbench/ProgramFiles.h"
#include "workbench/record/SessionJson.h"
#include "workbench/record/SessionText.h"

#include <algorithm>
#include <memory>

namespace {

constexpr const char* kNoDocument = "Open a document window first.";
constexpr const char* kCommandRuns = "Another command still runs.";

CMainFrame& mainFrame() {
    return *static_cast<CCalvaneApp*>(qApp)->mainFrame();
}

/// That of the document window that is active; null where none is.
HistoryPart* activePart() {
    CSplitterFrame* frame = mainFrame().activeFrame();
    return frame == nullptr ? nullptr : &frame->historyPart();
}

std::shared_ptr<const workbench::Source> sourceOf(const record::Session& session) {
    return std::make_shared<const workbench::Source>(workbench::Source{
        workbench::PhoneSource{session.phone, session.port, true}, session.ended.value_or(session.begun)});
}

void bringToFront(QWidget& window) {
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.activateWindow();
}

/// The main window's one window of this kind.
template <typename Window, typename Make>
Window& oneWindow(QWidget& mainWindow, Make make) {
    auto* window = mainWindow.findChild<Window*>();
    return window == nullptr ? *make() : *window;
}

HistorySource sourceIn(const std::filesystem::path& programDirectory, const std::filesystem::path& ring,
                       const workbench::Units& units) {
    return {
        .open = [programDirectory] { return record::openShown(record::readSettings(programDirectory)); },
        .ringPath = ring.string(),
        .units = units,
        .openOwn =
            [programDirectory] { return record::openShownAt(record::readSettings(programDirectory).file.string()); }};
}

void showItemOf(QWidget& main, const HistorySource& source, const ItemQuestion& question, bool overPhones) {
    auto& window = oneWindow<ItemHistoryWindow>(
        main, [&] { return new ItemHistoryWindow(std::make_shared<QtUserInterface>(&main), source, &main); });
    bringToFront(window);
    window.showItem(question, overPhones);
}

} // namespace

HistorySource HistoryPart::source() const {
    CCalvaneDoc& document = document_.window.document();
    return sourceIn(document_.programDirectory, document.ring().path, document.units());
}

HistoryActions HistoryPart::actionsFor(const HistorySource& source) {
    return {.openAsDocument = [](SessionValues values) -> std::string {
                CMainFrame& main = mainFrame();
                if (CSplitterFrame::isAnyWaiting(main)) {
                    return kCommandRuns;
                }
                CSplitterFrame* present = main.activeFrame();
                CSplitterFrame* frame = present != nullptr && present->isUnused() ? present : main.addDocument();
                if (frame == nullptr) {
                    return "No document window could be opened.";
                }
                frame->historyPart().takeValues(std::move(values));
                bringToFront(main);
                return {};
            },
            .compare = [](std::vector<SessionSide> sessions) -> std::string {
                HistoryPart* part = activePart();
                return part == nullptr ? kNoDocument : part->compare(std::move(sessions));
            },
            .restorePort = []() -> std::string {
                HistoryPart* part = activePart();
                return part == nullptr ? std::string() : part->document_.window.document().comPort();
            },
            .restore = [](SessionValues values) -> std::string {
                HistoryPart* part = activePart();
                return part == nullptr ? kNoDocument : part->restore(std::move(values));
            },
            .showItem =
                [source](const record::PhoneRow& phone, std::uint16_t number, bool overPhones) {
                    showItemOf(mainFrame(), source, {{phone.serial, phone.model, {}}, phone.port, number}, overPhones);
                }};
}

bool HistoryPart::canRun(CommandId command) const {
    return command == CommandId::kHistory || document_.window.document().selectedItem() != nullptr;
}

void HistoryPart::run(CommandId command) {
    if (command == CommandId::kHistory) {
        showHistory();
    } else if (canRun(command)) {
        showItem(selectedItem(), false);
    }
}

void HistoryPart::showHistory(const std::string& uuid) const {
    show(*document_.window.window(), source(), uuid);
}

void HistoryPart::showHistoryOf(CMainFrame& main, const std::filesystem::path& programDirectory,
                                const std::string& uuid) {
    if (CSplitterFrame* frame = main.activeFrame()) {
        frame->historyPart().showHistory(uuid);
        return;
    }
    const std::filesystem::path ring = workbench::ringFile(programDirectory);
    workbench::Units units;
    try {
        units = workbench::Units::load(workbench::Units::pathBeside(ring));
    } catch (const CalvaneException& failure) {
        qCritical("%s", failure.what()); // the values are shown without
    }
    show(main, sourceIn(programDirectory, ring, units), uuid);
}

void HistoryPart::show(QWidget& main, const HistorySource& source, const std::string& uuid) {
    auto& window = oneWindow<HistoryWindow>(main, [&] {
        return new HistoryWindow(std::make_shared<QtUserInterface>(&main), source, actionsFor(source), &main);
    });
    bringToFront(window);
    window.refresh(uuid);
}

void HistoryPart::showItem(const ItemQuestion& question, bool overPhones) {
    showItemOf(*document_.window.window(), source(), question, overPhones);
}

// The phone that the value is of, or else the one that the document has met last.
ItemQuestion HistoryPart::selectedItem() const {
    const CCalvaneDoc& document = document_.window.document();
    const std::uint16_t number = document.selectedItem()->getId();
    const workbench::BaselineValue* known = document.baseline().values().find(number);
    const auto* phone = known == nullptr ? nullptr : std::get_if<workbench::PhoneSource>(&known->source->from);
    if (phone == nullptr) {
        phone = document.baseline().lastPhone();
    }
    return phone == nullptr ? ItemQuestion{.phone = {}, .port = {}, .number = number}
                            : ItemQuestion{{phone->phone.serialNumber, phone->phone.model, {}}, phone->comPort, number};
}

void HistoryPart::takeValues(SessionValues values) {
    const record::Session& session = values.session;
    document_.window.document().takeItemsFromRecord(std::move(values.set.items), sourceOf(session));
    PhoneReport report{.line = "From the record: " + std::string(record::wordOf(session.kind)) + " of " +
                               record::localTime(session.begun) + ", " + shortName(session.phone)};
    for (const record::LeftBehind& item : values.set.left) {
        report.items.push_back({item.number, item.name, item.reason});
    }
    document_.report(std::move(report));
}

std::string HistoryPart::compare(std::vector<SessionSide> sessions) {
    if (document_.window.isWaiting()) {
        return kCommandRuns;
    }
    std::vector<CompareSource> sides;
    sides.reserve(sessions.size());
    for (SessionSide& session : sessions) {
        sides.push_back({.origin = CompareSource::Origin::kRecord,
                         .label = std::move(session.label),
                         .load = std::move(session.load)});
    }
    document_.compare.compareWith(std::move(sides));
    return {};
}

std::string HistoryPart::restore(SessionValues values) {
    CCalvaneDoc& document = document_.window.document();
    if (document_.window.isBusy()) {
        return "The document is being read from a phone: values can be restored afterwards.";
    }
    if (document_.window.isWaiting()) {
        return kCommandRuns;
    }
    document_.editor.store();
    if (!document_.editor.settle()) {
        return "A value that was typed in the document can't be stored.";
    }
    QtUserInterface userInterface(document_.window.window());
    WriteRequest request = requestForValues(document, userInterface, std::move(values.set.items), true, values.hasDate);
    request.source = sourceOf(values.session);
    request.recordedAs = record::SessionKind::kRestore;
    request.asked = "restore: values of the " + std::string(record::wordOf(values.session.kind)) + " of " +
                    record::localTime(values.session.begun);
    request.takeValues = [&document, &edits = document_.edits](const std::vector<NvItem>& written) {
        edits.putItems(written, "Restore of " + QString::fromStdString(workbench::counted(written.size())));
        for (const NvItem& item : written) {
            const auto listed = std::ranges::find(document.nvItems(), item.getId(), &NvItem::getId);
            if (item.getName() == workbench::kLoadedDateItem && listed != document.nvItems().end()) {
                document.replaceItem(static_cast<std::size_t>(listed - document.nvItems().begin()), item);
            }
        }
    };
    bringToFront(*document_.window.window());
    document_.review(std::move(request));
    return {};
}
