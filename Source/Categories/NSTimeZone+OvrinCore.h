#pragma once
// Time-zone helpers: the offset of an ISO 8601 time stamp as the API sends it.
// Threads: any thread.
#include <memory>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Time/OVNTimeZone.h"

//! The class operation timeZoneFromDateString: the fixed-offset zone of a time stamp such as
//! "2016-05-12T14:00:00-05:00", read at fixed positions: the hours are the three characters
//! at index 19 and the minutes the text from index 23 on. GMT for text shorter than 25
//! characters (no offset), and for an offset beyond a day.
//! Kept as it always was: the minutes do not take the hours' sign ("-05:30" is -4:30), and
//! fractional seconds or a "Z" shift the positions (".000-05:00" reads as -0:05).
OVN_EXPORT std::shared_ptr<OVNTimeZone> ovn_timeZoneFromDateString(std::string_view text);
