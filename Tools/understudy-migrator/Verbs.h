// What the Migrator is asked to do: plan, apply, judge; and for the stand-in alone, to make a store.
#pragma once

#include <optional>
#include <string>

#include "Scenario.h"

namespace larkmoor::understudy {

struct Order {
    std::string database;
    std::string backupDir;
    std::string keyDigest;  ///< of the key on standard input; empty without one
    Scenario scenario;
};

// Each answers the exit status: 0 done, 1 a step failed, 2 refused.
int plan(const Order& order);
int apply(const Order& order);
int judge(const Order& order);
int make(const Order& order, Int rows);

}  // namespace larkmoor::understudy
