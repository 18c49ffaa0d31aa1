#pragma once

#include "engine/CalvaneException.h"
#include "engine/NvItem.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

class MoxFile;
class TessraServer;
struct PhoneProperties;

/// Called for each item that a read from the phone requests, before the request: the caller's context, the item's
/// number and name, the number of items that the read requests, and the position of this one among them, counting
/// from 1. Runs on the thread of the read and must not block for long.
using ProgressCallback = void (*)(void* context, std::uint16_t nvItemId, std::string nvItemName, std::uint32_t count,
                                  std::uint32_t position);

/// The catalog of one document: the NV items that the decoder ring describes, the set of those that hold data from the
/// phone, a file or the user, the calibration file and the session with the phone service through which they travel.
///
/// One thread at a time may use an object; it has no lock. Only the session that getTessraServer() hands out may be
/// used from another thread meanwhile. What comes back is a copy, independent of the catalog. Every failure is a
/// Calvane::Exception; those of the COM worker thread itself (ComThreadManager) pass through.
class Calvane {
public:
    using NvItem = ::NvItem;
    using Exception = CalvaneException;

    /// An empty catalog with a session that is not yet connected and no file open. Throws Calvane::Exception where
    /// these can't be made.
    Calvane();
    virtual ~Calvane();
    Calvane(const Calvane&) = delete;
    Calvane& operator=(const Calvane&) = delete;

    /// Replaces the catalog by the items of the decoder ring file at `decoderRingFile` (docs/decoder-ring.md); nothing
    /// is loaded then. Stops at the first failure, whose message names the file, the number or the line; the items of
    /// the lines before it stay.
    virtual void loadDecoderRingFile(const std::string decoderRingFile);

    /// Reads the calibration file `pMoxFileName`: answers the items that the ring describes, in the order of the file;
    /// they are the loaded ones then. Others are passed over. After a failure the items read before it stay in the
    /// catalog, and loaded. The file is closed again, as after every operation on files.
    virtual std::vector<NvItem> getNvItemFrompMoxFile(const std::string pMoxFileName);

    /// Reads every supported item from the phone on `comPort`, in ascending order of their numbers, one request each.
    /// Answers the items for which the phone has a value; they are the loaded ones then. An item without one is skipped
    /// and keeps its data. After a failure the items read before it stay in the catalog, and loaded.
    virtual std::vector<NvItem> getNvItemsFromPhone(const std::string comPort, void* context,
                                                    ProgressCallback callback);
    virtual std::vector<NvItem> getNvItemsFromPhone(const std::string comPort);

    /// All supported items in ascending order of their numbers.
    virtual std::vector<NvItem> getSupportedNvItems();
    /// The supported item with this number; the first one with this name. Throws where there is none.
    virtual NvItem getSupportedNvItem(unsigned short nvItemId);
    virtual NvItem getSupportedNvItem(std::string nvItemName);

    /// Write the writable ones of `nvItems`, or of the loaded items, to the calibration file `fileName`, and with it
    /// the property record where its values are given. A file that exists is updated: other items in it stay, as does
    /// its model id; a new one gets `phoneModelId`, or 0. Throw where no item is writable. Each item is in the file
    /// whole, or as it was before, also where a failure ends the operation; those before it have been written.
    virtual void createMoxFile(const std::string fileName, const std::vector<NvItem>& nvItems,
                               unsigned short phoneModelId, std::uint32_t esn, std::uint8_t nvMajorVersion,
                               std::uint8_t nvMinorVersion, const std::string softwareVersion,
                               const std::string clientName);
    virtual void createMoxFile(const std::string fileName, const std::vector<NvItem>& nvItems, std::uint32_t esn,
                               std::uint8_t nvMajorVersion, std::uint8_t nvMinorVersion,
                               const std::string softwareVersion, const std::string clientName);
    virtual void createMoxFile(const std::string fileName, unsigned short phoneModelId, std::uint32_t esn,
                               std::uint8_t nvMajorVersion, std::uint8_t nvMinorVersion,
                               const std::string softwareVersion, const std::string clientName);
    virtual void createMoxFile(const std::string fileName, std::uint32_t esn, std::uint8_t nvMajorVersion,
                               std::uint8_t nvMinorVersion, const std::string softwareVersion,
                               const std::string clientName);
    /// These two first remove from an existing file the items whose numbers no element of `nvItems` has, writable or
    /// not. Without a writable item they leave the file alone and throw.
    virtual void createMoxFile(const std::string fileName, const std::vector<NvItem>& nvItems,
                               unsigned short phoneModelId);
    virtual void createMoxFile(const std::string fileName, const std::vector<NvItem>& nvItems);
    virtual void createMoxFile(const std::string fileName, unsigned short phoneModelId);
    virtual void createMoxFile(const std::string fileName);

    /// Writes the writable ones of `nvItems`, in their order, to the phone on `comPort`, which is put offline first
    /// where `offlineFirst` says so. The first item that the phone refuses ends the write with an exception, unless
    /// `toleratedIds` (null: none) holds its number. Answers a report of the tolerated failures, empty without any.
    /// Items before a failure have been written.
    virtual std::string writeToPhone(const std::string comPort, const std::vector<NvItem>& nvItems, bool offlineFirst,
                                     const std::set<int>* toleratedIds);
    /// The same with the loaded items.
    virtual std::string writeToPhone(const std::string comPort, bool offlineFirst, const std::set<int>* toleratedIds);

    /// These put data into one item and add it to the loaded ones: 128 raw bytes at `data`, or one decimal text per
    /// sub-field. Raw data for a number that the ring does not describe makes an item named "No Name" with one BYTE;
    /// texts for such a number, and every unknown name, throw.
    virtual void setNvItem(const NvItem& nvItem);
    virtual void setNvItem(const std::string nvItemName, const unsigned char* data);
    virtual void setNvItem(const std::string nvItemName, const std::string commaDelimitedDataString);
    virtual void setNvItem(unsigned short nvItemId, const std::string commaDelimitedDataString);
    virtual void setNvItem(unsigned short nvItemId, const unsigned char* data);

    /// Resets the phone that the session is connected to and waits up to 100 s until it has gone and come back.
    virtual void resetPhone();

    /// Forgets which items are loaded, and the items that the ring does not describe. Supported items keep their data.
    virtual void clearNvItems();

    /// The catalog's session; it lives as long as the catalog.
    virtual TessraServer* getTessraServer();

    /// Reads the items numbered `nvItemIds` alone, in that order; otherwise as the reads above. A number that the ring
    /// does not describe is asked for as well, and read as a "No Name" item.
    virtual std::vector<NvItem> getNvItemsFromPhone(const std::string comPort,
                                                    const std::vector<std::uint16_t>& nvItemIds, void* context,
                                                    ProgressCallback callback);

    /// The supported item with this number; for one that the ring does not describe, a "No Name" item.
    virtual NvItem describedItem(std::uint16_t nvItemId) const;

    /// What the calibration file `fileName` says of the phone that its items come from; nothing where it has no such
    /// record. A failure goes into the error log, as the items are worth having without it.
    virtual std::optional<PhoneProperties> phonePropertiesOf(const std::string& fileName);
    /// The phone model id of the calibration file from which the loaded items come; nothing where none are loaded.
    /// Touches no file.
    virtual std::optional<std::uint16_t> phoneModelId();

    /// How many items the decoder ring describes.
    virtual std::size_t supportedCount() const;

private:
    using ItemMap = std::map<std::uint16_t, NvItem>;

    /// The supported item with this name; null where there is none.
    NvItem* findSupported(const std::string& nvItemName);
    /// The number of that item; throws where there is none.
    std::uint16_t supportedNumber(const std::string& nvItemName);
    NvItem& setData(std::uint16_t nvItemId, const unsigned char* data);
    /// Reads from the phone that the session is connected to, adding to the loaded items.
    std::vector<NvItem> readConnected(const std::vector<std::uint16_t>& nvItemIds, void* context,
                                      ProgressCallback callback);
    void openForWriting(const std::string& comPort, bool offlineFirst);
    /// Writes one item if it is writable; answers the text of the phone's refusal.
    std::optional<std::string_view> writeItem(const NvItem& item);

    /// Runs an operation on the file. After a failure it closes the file, so that others can use it, and throws what
    /// the file threw behind `prefix`.
    void onFile(const std::string& prefix, const std::function<void()>& operation);
    void closeAfterFailure();
    std::vector<const NvItem*> loadedItems() const;
    /// Removes from the file the items whose numbers no element of `nvItems` has.
    void pruneFile(const std::string& fileName, const std::vector<NvItem>& nvItems);
    /// `properties`: null for none.
    void writeFile(const std::string& fileName, const std::vector<const NvItem*>& items, unsigned short phoneModelId,
                   const PhoneProperties* properties);

    std::unique_ptr<MoxFile> file_;
    std::unique_ptr<TessraServer> session_;
    /// A number is a key of one of the two maps at most. The maps never lose an item that loaded_ points to: what
    /// empties them empties loaded_ first.
    ItemMap supported_;
    ItemMap unsupported_;
    /// The items that hold data, by number: a write of them is in ascending order, as a read is.
    std::map<std::uint16_t, NvItem*> loaded_;
};
