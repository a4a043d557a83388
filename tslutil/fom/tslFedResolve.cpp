// SPDX-License-Identifier: MIT
#include "tslutil/fom/tslFedTarget.h"

namespace
{

/// The switches that a version's table has to hold, in the order in which missing ones are told.
char const * const theSwitches1516[] = {"autoProvide",
                                        "conveyRegionDesignatorSets",
                                        "attributeScopeAdvisory",
                                        "attributeRelevanceAdvisory",
                                        "objectClassRelevanceAdvisory",
                                        "interactionRelevanceAdvisory",
                                        "serviceReporting"};
char const * const theSwitches1516e[] = {"autoProvide",
                                         "conveyProducingFederate",
                                         "conveyRegionDesignatorSets",
                                         "attributeScopeAdvisory",
                                         "attributeRelevanceAdvisory",
                                         "objectClassRelevanceAdvisory",
                                         "interactionRelevanceAdvisory",
                                         "serviceReporting",
                                         "exceptionReporting",
                                         "delaySubscriptionEvaluation"};

/// Appends the headline and the missing names to `errors`, if any is missing; true if none is.
template<class Names>
bool allSwitchesThere(DtFedTarget & target, Names const & switches, DtString & errors)
{
   bool missing = false;
   DtString names;
   for (char const * name : switches)
      target.checkSpecificSwitch(name, missing, names);
   if (missing)
   {
      errors += "Missing switch in the switches Table\n";
      errors += names;
   }
   return !missing;
}

} // namespace

DtMergeFomStatus_enum DtFedTarget::postMergeCheckTarget(DtString & errors)
{
   bool unresolved = false;
   bool good = resolveObjectModelIdentification(errors);
   good &= resolveObjectClasses(errors, unresolved);
   good &= resolveInteractionClasses(errors, unresolved);
   good &= resolveAttributes(errors, unresolved);
   good &= resolveParameters(errors, unresolved);
   good &= resolveDimensions(errors, unresolved);
   good &= resolveTimeRepresentations(errors);
   good &= resolveUserSuppliedTags(errors);
   good &= resolveSynchronizationPoints(errors);
   good &= resolveTranportationTypes(errors);
   good &= resolveUpdateRates(errors);
   good &= resolveSwitches(errors);
   good &= resolveDatatypes(errors);
   good &= resolveNotes(errors);
   good &= resolveServiceUsage(errors);
   if (good)
      return DtMergeFomSuccess;
   return unresolved ? DtMergeFomUnresolvedReferences : DtMergeFomPostCheckFailed;
}

bool DtFedTarget::resolveObjectModelIdentification(DtString &)
{
   return true;
}

bool DtFedTarget::resolveObjectClasses(DtString &, bool &)
{
   return true;
}

bool DtFedTarget::resolveInteractionClasses(DtString &, bool &)
{
   return true;
}

bool DtFedTarget::resolveAttributes(DtString &, bool &)
{
   return true;
}

bool DtFedTarget::resolveParameters(DtString &, bool &)
{
   return true;
}

bool DtFedTarget::resolveDimensions(DtString &, bool &)
{
   return true;
}

bool DtFedTarget::resolveTimeRepresentations(DtString &)
{
   return true;
}

bool DtFedTarget::resolveUserSuppliedTags(DtString &)
{
   return true;
}

bool DtFedTarget::resolveSynchronizationPoints(DtString &)
{
   return true;
}

bool DtFedTarget::resolveTranportationTypes(DtString & errors)
{
   for (auto const & transport : transportTypes)
   {
      if (transport->name.isEmpty())
      {
         errors += "Error in Transportation Type, Uninitialized name\n";
         return false;
      }
   }
   return true;
}

// A rate of 0 is told but passes, and hides what stands behind it. That is meant.
bool DtFedTarget::resolveUpdateRates(DtString & errors)
{
   for (auto const & updateRate : updateRates)
   {
      if (updateRate->name.isEmpty())
      {
         errors += "Error in Update Rates Type, Uninitialized name\n";
         return false;
      }
      if (updateRate->rate == 0.0f)
      {
         errors += "Error in Update Rates Type, name = ";
         errors += updateRate->name;
         errors += " , Uninitialized rate\n";
         return true;
      }
   }
   return true;
}

void DtFedTarget::checkSpecificSwitch(DtString const & name, bool & missing, DtString & names)
{
   if (knownSwitch(name))
      return;
   missing = true;
   names += name;
   names += " ";
}

// The two versions differ in what a missing switch means, and in the line feed behind the names. That is
// meant.
bool DtFedTarget::resolveSwitches(DtString & errors)
{
   switch (fomType())
   {
   case DtFomInvalid:
      errors += "Invalid FOM Type\n";
      return false;
   case DtFomHla13:
      return true;
   case DtFom1516:
      return allSwitchesThere(*this, theSwitches1516, errors);
   case DtFom1516e:
      if (allSwitchesThere(*this, theSwitches1516e, errors))
         return true;
      errors += "\n";
      return !compareSemantics && !strictSwitches;
   }
   errors += "Unknown FOM Type\n";
   return false;
}

bool DtFedTarget::resolveDatatypes(DtString &)
{
   return true;
}

bool DtFedTarget::resolveNotes(DtString &)
{
   return true;
}

bool DtFedTarget::resolveServiceUsage(DtString &)
{
   return true;
}
