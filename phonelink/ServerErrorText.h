#pragma once

#include "platform/com/ComError.h"

#include <string>

/// What a failure of the phone service reads like to the user: the service's own text for the codes that it is known by
/// (found by the low 16 bits of the error's status code), and for every other code a report of several lines with all
/// that the error knows (com::errorReport).
std::string serverErrorText(const com::ComError& error);

/// Whether the error's standard message says no more than "Unspecified error": what the service answers for a port name
/// that it does not have.
bool isUnspecifiedError(const com::ComError& error);
