// SPDX-License-Identifier: MIT
#pragma once

#include "tools/fomModel.h"

#include <memory>
#include <stdexcept>
#include <string>

/// A document that is no model: its text names the file and the line and says what is wrong there.
class FomReadError : public std::runtime_error
{
public:
   using std::runtime_error::runtime_error;
};

/// Classes nested deeper than this are an error: names are paths, and would grow with the square of the
/// depth.
constexpr std::size_t theDeepestClass = 100;

/// Full names of classes that are longer are an error: each subclass holds its parent's name anew.
constexpr int theLongestClassName = 2000;

/// Reads a model from a file: IEEE 1516-2010 or 1516-2000 XML, or an HLA 1.3 FED, told apart by the content.
/// Throws FomReadError for what cannot be read.
std::unique_ptr<FomModel> readFom(std::string const & path, FomRules const & rules);

/// The same for a document in memory; `name` is what findings call it. `text` is used up.
std::unique_ptr<FomModel> readFomText(std::string const & name, std::string text, FomRules const & rules);

// The two readers behind that.
void readFomXml(std::string const & name, std::string & text, FomModel & model);
void readFed(std::string const & name, std::string const & text, FomModel & model);
