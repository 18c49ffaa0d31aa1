#pragma once

#include "engine/SubItem.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace items {
struct ItemLayout;
}

/// One NV item of a phone: its number, its layout as the decoder ring gives it, its 128 data bytes and the value texts
/// of its sub-fields. Reached by callers of the catalog as Calvane::NvItem.
///
/// A value type: a copy shares nothing that can change. One object belongs to one thread at a time; different objects
/// are independent, copies included.
///
/// Data block: the sub-fields one after the other in the order of the ring from byte 0 on, without padding, each
/// little-endian. Bytes after the last sub-field belong to none.
class NvItem {
public:
    using SubItem = ::SubItem;
    using SubItemType = ::SubItemType;

    /// Number 0, empty name and access mark, no sub-fields, all data bytes zero.
    NvItem() = default;

    /// From one line of the decoder ring, as setDecoderRingString(). Throws CalvaneException if the line is malformed.
    explicit NvItem(const std::string decoderRingLine);

    /// Of a line that parseRingLine() has taken apart without a failure; all data bytes zero, no values.
    explicit NvItem(std::shared_ptr<const items::ItemLayout> layout);

    NvItem(const NvItem&) = default;
    NvItem(NvItem&&) noexcept = default;
    NvItem& operator=(const NvItem&) = default;
    NvItem& operator=(NvItem&&) noexcept = default;

    /// Replaces number, name, access mark and sub-fields by those of one line of the decoder ring; the sub-fields have
    /// no values yet. The data block stays as it is. Throws CalvaneException if the line is malformed (the messages
    /// stand in DecoderRing.cpp); the item then has what the line said up to there, and its old number if the line's
    /// could not be read.
    virtual void setDecoderRingString(const std::string decoderRingLine);

    /// Sets data and values from raw bytes. `data` points to at least 128 bytes and may be this item's own block.
    /// Bytes beyond the last sub-field become zero; an item without sub-fields takes all 128. Never fails.
    virtual void setData(const unsigned char* data);

    /// Sets data and values from one decimal text per sub-field, separated by commas. What a text may look like for
    /// each type stands at items::readValueText(); the text becomes the sub-field's value untrimmed. Bytes beyond the
    /// last sub-field stay as they are. Throws CalvaneException for too few or too many fields, and for a field that is
    /// no number or out of its type's range. There is no roll-back: sub-fields before the failure have their new
    /// values, those from it on the old ones (too many: all are set). A comma after the last field announces another
    /// one, so it counts as too many.
    virtual void setData(const std::string commaDelimitedDataString);

    /// The item number.
    virtual std::uint16_t getId() const;

    virtual std::string getName() const;

    /// The 128 data bytes; valid while the item lives and is not assigned to.
    virtual const unsigned char* getData() const;

    /// The access mark in lower case.
    virtual std::string getAccess() const;

    /// Comparison by number or by name (byte by byte), whichever setCompareByName() says at that moment. Data, layout
    /// and the other key take no part.
    virtual bool operator==(const NvItem& other) const;
    virtual bool operator!=(const NvItem& other) const;
    virtual bool operator>(const NvItem& other) const;
    virtual bool operator<(const NvItem& other) const;

    /// The sub-fields in order, with their values at this moment.
    virtual std::vector<SubItem> getSubItems() const;

private:
    virtual void parseDecoderRingString(const std::string decoderRingLine);

public:
    virtual ~NvItem() = default;

    /// Number and types of the sub-fields; unlike getSubItems(), these make no texts.
    virtual std::size_t getSubItemCount() const;
    virtual std::vector<SubItemType> getSubItemTypes() const;

    /// Whether the item may be written to the phone or to a file: its access mark contains "write".
    virtual bool isWritable() const;

    /// Whether its values are seconds since 1 January 1970, to be shown as a date: its access mark contains "time".
    virtual bool isTime() const;

    /// The 128 data bytes as they are, and from outside: unlike the raw setData(), the latter keeps the bytes beyond
    /// the last sub-field too. Values follow the bytes. A phone may hold more than the ring knows of, and what goes
    /// back to it must not lose that.
    virtual std::span<const std::uint8_t, items::kItemDataBytes> rawData() const;
    virtual void setRawData(std::span<const std::uint8_t, items::kItemDataBytes> data);

    /// A number by which layouts of different rings and program runs can be compared; it may be stored. It covers type
    /// and description of each sub-field, in order: where both agree, a byte means the same. The descriptions count
    /// because two fields of one type that change places would otherwise pass for the same layout. Number, name and
    /// access mark don't count: they say which item it is and what may be done with it, not what its bytes mean.
    virtual std::uint64_t layoutHash() const;
    /// Whether both have layouts of one such number, without working it out.
    virtual bool hasLayoutOf(const NvItem& other) const;

    /// Whether the sub-fields have values: those of a new item have none before data was set.
    virtual bool hasValues() const;

    /// How many of the data bytes, from byte 0 on, belong to sub-fields.
    virtual std::size_t describedBytes() const;

    /// Selects for every item of the process how items compare: true by name, false (as at the start) by number. May be
    /// called on any thread; not while a sort is running, which would see two orders.
    static void setCompareByName(bool byName);

private:
    /// The values of the items compared: negative, zero or positive.
    virtual int compare(const NvItem& other) const;

    [[noreturn]] virtual void refuseField(std::size_t index, const std::string& field, bool isNumber) const;

    /// The layout of an item that has none yet is empty.
    virtual const items::ItemLayout& layout() const;

    static std::atomic<bool> compareByName_;

    std::shared_ptr<const items::ItemLayout> layout_; ///< null for the empty one
    /// Texts as typed (" -1", "007"), which the bytes can't give back, for the sub-fields from the first on that a text
    /// setData() has set since the last raw one. All other texts are made from the bytes when somebody asks for them,
    /// so that a catalog of 65,536 items is copied without touching a text.
    std::vector<std::string> typedTexts_;
    std::array<std::uint8_t, items::kItemDataBytes> data_{};
    /// Whether the sub-fields beyond typedTexts_ have values, which are then those of the data bytes.
    bool valuesFromData_ = false;
};
