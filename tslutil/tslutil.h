// SPDX-License-Identifier: MIT
#pragma once

// Every public header. A program that minds its compile time includes the few that it needs.

#include "tslutil/thread/tslMutex.h"
#include "tslutil/tslutilExport.h"
