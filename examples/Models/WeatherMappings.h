#pragma once
// How the application declares the mapping of its models: every table in one place.

#include "PropertyMapper/OVNPropertyMapper.h"

//! Registers the tables, final encoder and final decoder of the worked model classes on
//! `mapper`; false (with the error logged) if a table does not fit its class.
[[nodiscard]] bool registerWeatherMappings(OVNPropertyMapper& mapper);

//! A mapper with the worked model tables registered; null (with the error logged) if a
//! table does not fit its class.
OVNPropertyMapperRef makeWeatherMapper();
