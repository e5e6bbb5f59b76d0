#pragma once
// Dictionary helpers: emptiness, URL query strings in both directions, merging.
// Pure functions on the arguments; safe on any thread for dictionaries no one mutates.

#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNDictionary.h"

//! True for a null dictionary or one without entries.
OVN_EXPORT bool ovn_isEmpty(const OVNDictionaryRef& dictionary);

//! The dictionary of a query text: pieces split at every "&", each split at every "=";
//! a piece that is not exactly two parts (no "=", or a=b=c) is dropped, and so is one whose
//! key or value holds an invalid percent-escape. Keys and values are decoded with
//! `ovn_URLDecodedString` ("+" is a space). A later key replaces an earlier one; keys such
//! as a[] stay literal. The result is immutable.
OVN_EXPORT OVNDictionaryRef ovn_dictionaryWithQueryString(std::string_view query);

//! A copy of `receiver` with `other`'s entries added; `other` wins on equal keys.
OVN_EXPORT OVNDictionaryRef ovn_dictionaryByAddingEntriesFromDictionary(const OVNDictionary& receiver,
                                                                        const OVNDictionary& other);

//! The dictionary as a query string, in key order: "key=value", "key[sub]=value" for the
//! entries of a nested dictionary, "key[]=value" for each element of an array (one level
//! only), joined with "&". Values (their descriptions) are escaped with
//! `ovn_escapeValueForURLParameter`, which leaves "&", "=" and "+" as they are; keys are
//! never escaped. Differs on purpose from the request parameter encoding.
OVN_EXPORT std::string ovn_serializedString(const OVNDictionary& receiver);

//! `text` percent-encoded with the URL-query allowed characters (letters, digits and
//! - . _ ~ ! $ & ' ( ) * + , ; = : @ / ? stay as they are).
OVN_EXPORT std::string ovn_escapeValueForURLParameter(std::string_view text);
//! The same, in the form of an operation on a dictionary (the receiver is not used).
OVN_EXPORT std::string ovn_escapeValueForURLParameter(const OVNDictionary& receiver, std::string_view text);
