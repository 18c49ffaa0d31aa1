#pragma once

#include "cli/Arguments.h"
#include "cli/ExitStatus.h"
#include "engine/Calvane.h"

/// Does what the arguments ask for, on the phones of the service that it hosts meanwhile. Results go to standard
/// output; progress, refusals and an account of what was done before them go to standard error. Throws where the
/// service or the catalog can't start.
ExitStatus runBatch(const Arguments& arguments);

/// The verbs. Each answers how the program ends, and throws what the catalog or a file refuses; a BatchFailure says
/// how it ends then.
ExitStatus printPorts(Calvane& catalog, const Arguments& arguments);
/// The serial devices, as text or JSON; none of them is opened, but the one to be asked: see arguments.probedDevice.
ExitStatus printDevices(const Arguments& arguments);
ExitStatus readPhone(Calvane& catalog, const Arguments& arguments);
ExitStatus listItems(Calvane& catalog, const Arguments& arguments);
ExitStatus resetPhone(Calvane& catalog, const Arguments& arguments);

/// These write to a phone and read back what they wrote: what counts is the value that the phone has then, not the one
/// that it was sent. With arguments.isDryRun they print what they would do.
ExitStatus setItems(Calvane& catalog, const Arguments& arguments);
ExitStatus writePhone(Calvane& catalog, const Arguments& arguments);

/// What a calibration file says of itself: model id, number of items, record of the phone.
ExitStatus showMoxInfo(Calvane& catalog, const Arguments& arguments);
ExitStatus showMox(Calvane& catalog, const Arguments& arguments);
/// Removes all items from the file but those of arguments.itemNumbers; these are not touched. Refuses where nothing
/// would stay.
ExitStatus pruneMox(const Arguments& arguments);

/// Prints how the two sides of the arguments differ, each a port or a file; kDifferent where they do. Items that can't
/// be compared make it kIncomplete, or what else is wrong with a side.
ExitStatus printDiff(Calvane& catalog, const Arguments& arguments);

/// Prints the values of a phone or file that are outside the limits of the file of units; kOutside where there are any,
/// kIncomplete where one can't be checked.
ExitStatus checkItems(Calvane& catalog, const Arguments& arguments);

/// What the record of sessions answers. All of these throw a BatchFailure with kFile where it can't be opened or has
/// no such session.
ExitStatus listHistory(const Arguments& arguments);
ExitStatus showSession(Calvane& catalog, const Arguments& arguments);
/// One item of one phone over time, or over all phones.
ExitStatus showItemHistory(Calvane& catalog, const Arguments& arguments);
/// Puts the values of a session back on its phone, as writePhone() writes; kIncomplete, too, where the session does not
/// know one of them.
ExitStatus restoreSession(Calvane& catalog, const Arguments& arguments);
ExitStatus exportSession(Calvane& catalog, const Arguments& arguments);
/// These change the record.
ExitStatus importSession(const Arguments& arguments);
ExitStatus pruneHistory(const Arguments& arguments);
ExitStatus noteSession(const Arguments& arguments);

/// Prints the storages and streams of a compound file of any kind, a line each with the size of a stream in bytes, in
/// the order in which the container enumerates them. What can't be opened is named on standard error and passed over.
ExitStatus printTree(const Arguments& arguments);
