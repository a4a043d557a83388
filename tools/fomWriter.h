// SPDX-License-Identifier: MIT
#pragma once

#include "tools/fomModel.h"

#include <string>

/// Writes a model so that it can be read back: in the XML form of its version, or as a FED if it is of
/// HLA 1.3. Throws std::runtime_error if the file cannot be written; a file that stands there is then as it
/// was.
void writeFom(FomModel const & model, std::string const & path);
