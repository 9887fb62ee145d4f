// Writes what a transaction changed in the tables of a folder: all of it, or nothing.
//
// With several tables, a common file is there until all of them are written; every journal names it. Removing
// it is the moment of the commit: a journal whose common file is gone is out of date.
#pragma once

#include <string>

namespace quarno::desktop::dbase {

struct Site;

/// Raises when it cannot; the tables then are what they were before the transaction.
void commit(Site& site);

/// Removes the common file once no journal names it any more.
void remove_master(const Site& site, const std::string& name);

}  // namespace quarno::desktop::dbase
