#pragma once

#include "app/history/RowsModel.h"
#include "engine/NvItem.h"
#include "workbench/record/History.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

class Calvane;

/// One item of a session, in words.
struct ShownItem {
    std::uint16_t number = 0;
    QString name;
    QString before;
    QString after;
    QString result;
    bool isChanged = false; ///< it had another value before
};

/// In words; `catalog` has names and layouts. A read says nothing of the values before it: they are those that were
/// `known`. Any thread.
std::vector<ShownItem> shownItems(const std::vector<record::SessionItem>& items,
                                  const std::map<std::uint16_t, record::ItemData>& known, Calvane& catalog);
/// The sub-fields of an item with these bytes, in words.
QString shownValues(const NvItem& item);

/// The rows of the window's tables, in the order of what is given. The titles stand beside them.
QStringList phoneTitles();
std::vector<RowsModel::Row> rowsOf(const std::vector<record::PhoneRow>& phones);
QStringList sessionTitles();
constexpr int kNoteColumn = 6;
std::vector<RowsModel::Row> rowsOf(const std::vector<record::Session>& sessions);
QString noteText(const record::Session& session);
QStringList itemTitles();
std::vector<RowsModel::Row> rowsOf(const std::vector<const ShownItem*>& items);
