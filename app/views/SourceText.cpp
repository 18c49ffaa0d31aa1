#include "app/views/SourceText.h"

#include "app/dialogs/ShownText.h"

#include <QDateTime>
#include <filesystem>

namespace {

QString placeText(const workbench::PhoneSource& source) {
    return shownText(workbench::shortName(source.phone) + " on " + source.comPort);
}

QString placeText(const workbench::FileSource& source) {
    return shownText(std::filesystem::path(source.path).filename().string());
}

} // namespace

QString sourceText(const workbench::Source& source) {
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(source.when.time_since_epoch());
    const QDateTime when = QDateTime::fromMSecsSinceEpoch(ms.count());
    const bool today = when.date() == QDate::currentDate();
    const QString place = std::visit([](const auto& from) { return placeText(from); }, source.from);
    return place + ", " + when.toString(today ? "HH:mm" : "yyyy-MM-dd HH:mm");
}
