// Precompiled for every test.
#pragma once

#include "Prelude.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
