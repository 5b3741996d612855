#pragma once

#include "SystemCalls.h"

namespace Orvane::Torture {

/// Reads from the environment what is to go wrong, and takes it out of there, so that it concerns no child:
///
///   ORVANE_FAULT         kill, tear, short, or an error such as EIO; "count" for none
///   ORVANE_FAULT_AT      the first call that it befalls, counted from 1 among those that it can befall
///   ORVANE_FAULT_LAST    the last one; "end" for all later ones
///   ORVANE_FAULT_FOLDER  whose files count
///   ORVANE_FAULT_REPORT  a file: gets a line for each call that was befallen, and for every one with "count"
void ReadFault();

/// Carries the call out, or lets it go wrong.
/// @returns what the kernel returns; -errno for an error
long Perform(const Call& call);

/// @returns the error that befalls something which is no system call; 0 for none
int ErrorFor(long number);

} // namespace Orvane::Torture
