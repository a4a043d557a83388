// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/fom/tslFedTarget.h"

#include <nlohmann/json.hpp>

#include <string>

/// A target with no class trees, filled from flat rows of texts; its tables are open to tests.
class RowTarget : public DtFedTarget
{
public:
   RowTarget() = default;
   RowTarget(bool comparesSemantics, bool strict)
   {
      compareSemantics = comparesSemantics;
      strictSwitches = strict;
   }

   void addObjectClass(DtString const &, DtString const &) override {}
   void addAttribute(DtString const &, DtString const &) override {}
   void addInteractionClass(DtString const &, DtString const &) override {}
   void addParameter(DtString const &, DtString const &) override {}
   bool knownObjectClass(DtString const &) const override { return false; }
   bool knownInteractionClass(DtString const &) const override { return false; }
   void removeAllClasses() override {}

   /// Fills the target from a file of rows; a test failure if it cannot be read.
   void load(std::string const & path);
   /// The sizes of all tables, by the names that the recorded results use.
   nlohmann::json counts() const;

   using DtFedTarget::addUnresolvedAttributeDimension;
   using DtFedTarget::addUnresolvedInteractionDimension;
   using DtFedTarget::checkStringsIgnoringWhiteSpaceAndNewline;
   using DtFedTarget::compareSemantics;
   using DtFedTarget::mergeUnresolved;
   using DtFedTarget::merging;
   using DtFedTarget::modelIdentification;
   using DtFedTarget::notes;
   using DtFedTarget::removeResolvedAttribute;
   using DtFedTarget::removeResolvedInteractionDimension;
   using DtFedTarget::strictSwitches;
   using DtFedTarget::transportTypes;
   using DtFedTarget::unionUnresolvedAttributeDimensions;
   using DtFedTarget::unionUnresolvedAttributeTransportation;
   using DtFedTarget::unionUnresolvedInteractionDimensions;
   using DtFedTarget::unionUnresolvedInteractionTransportation;
   using DtFedTarget::unresolvedAttributeDimensions;
   using DtFedTarget::unresolvedInteractionTransportation;

private:
   void addRow(std::vector<std::string> const & row);
};

/// The ten switch values by name.
nlohmann::json switchValues(DtFedTarget const & target);
