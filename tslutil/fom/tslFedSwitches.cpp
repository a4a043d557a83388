// SPDX-License-Identifier: MIT
#include "tslutil/fom/tslFedTarget.h"

bool DtFedTarget::theDefaultAutoProvide = false;
bool DtFedTarget::theDefaultConveyRegionDesignatorSets = false;
bool DtFedTarget::theDefaultConveyProducingFederate = false;
bool DtFedTarget::theDefaultAttributeScopeAdvisory = false;
bool DtFedTarget::theDefaultAttributeRelevanceAdvisory = true;
bool DtFedTarget::theDefaultObjectClassRelevanceAdvisory = true;
bool DtFedTarget::theDefaultInteractionRelevanceAdvisory = true;
bool DtFedTarget::theDefaultServiceReporting = false;
bool DtFedTarget::theDefaultExceptionReporting = true;
DtResignAction DtFedTarget::theDefaultAutomaticResignAction = DtResignCancelThenDeleteThenDivest;

bool DtFedTarget::defaultAutoProvide()
{
   return theDefaultAutoProvide;
}

void DtFedTarget::setDefaultAutoProvide(bool value)
{
   theDefaultAutoProvide = value;
}

bool DtFedTarget::defaultConveyRegionDesignatorSets()
{
   return theDefaultConveyRegionDesignatorSets;
}

void DtFedTarget::setDefaultConveyRegionDesignatorSets(bool value)
{
   theDefaultConveyRegionDesignatorSets = value;
}

bool DtFedTarget::defaultConveyProducingFederate()
{
   return theDefaultConveyProducingFederate;
}

void DtFedTarget::setDefaultConveyProducingFederate(bool value)
{
   theDefaultConveyProducingFederate = value;
}

bool DtFedTarget::defaultAttributeScopeAdvisory()
{
   return theDefaultAttributeScopeAdvisory;
}

void DtFedTarget::setDefaultAttributeScopeAdvisory(bool value)
{
   theDefaultAttributeScopeAdvisory = value;
}

bool DtFedTarget::defaultAttributeRelevanceAdvisory()
{
   return theDefaultAttributeRelevanceAdvisory;
}

void DtFedTarget::setDefaultAttributeRelevanceAdvisory(bool value)
{
   theDefaultAttributeRelevanceAdvisory = value;
}

bool DtFedTarget::defaultObjectClassRelevanceAdvisory()
{
   return theDefaultObjectClassRelevanceAdvisory;
}

void DtFedTarget::setDefaultObjectClassRelevanceAdvisory(bool value)
{
   theDefaultObjectClassRelevanceAdvisory = value;
}

bool DtFedTarget::defaultInteractionRelevanceAdvisory()
{
   return theDefaultInteractionRelevanceAdvisory;
}

void DtFedTarget::setDefaultInteractionRelevanceAdvisory(bool value)
{
   theDefaultInteractionRelevanceAdvisory = value;
}

bool DtFedTarget::defaultServiceReporting()
{
   return theDefaultServiceReporting;
}

void DtFedTarget::setDefaultServiceReporting(bool value)
{
   theDefaultServiceReporting = value;
}

bool DtFedTarget::defaultExceptionReporting()
{
   return theDefaultExceptionReporting;
}

void DtFedTarget::setDefaultExceptionReporting(bool value)
{
   theDefaultExceptionReporting = value;
}

DtResignAction DtFedTarget::defaultAutomaticResignAction()
{
   return theDefaultAutomaticResignAction;
}

void DtFedTarget::setDefaultAutomaticResignAction(DtResignAction value)
{
   theDefaultAutomaticResignAction = value;
}

bool DtFedTarget::autoProvide() const
{
   return myAutoProvide;
}

void DtFedTarget::setAutoProvide(bool value)
{
   myAutoProvide = value;
}

bool DtFedTarget::conveyRegionDesignatorSets() const
{
   return myConveyRegionDesignatorSets;
}

void DtFedTarget::setConveyRegionDesignatorSets(bool value)
{
   myConveyRegionDesignatorSets = value;
}

bool DtFedTarget::conveyProducingFederate() const
{
   return myConveyProducingFederate;
}

void DtFedTarget::setConveyProducingFederate(bool value)
{
   myConveyProducingFederate = value;
}

bool DtFedTarget::attributeScopeAdvisory() const
{
   return myAttributeScopeAdvisory;
}

void DtFedTarget::setAttributeScopeAdvisory(bool value)
{
   myAttributeScopeAdvisory = value;
}

bool DtFedTarget::attributeRelevanceAdvisory() const
{
   return myAttributeRelevanceAdvisory;
}

void DtFedTarget::setAttributeRelevanceAdvisory(bool value)
{
   myAttributeRelevanceAdvisory = value;
}

bool DtFedTarget::objectClassRelevanceAdvisory() const
{
   return myObjectClassRelevanceAdvisory;
}

void DtFedTarget::setObjectClassRelevanceAdvisory(bool value)
{
   myObjectClassRelevanceAdvisory = value;
}

bool DtFedTarget::interactionRelevanceAdvisory() const
{
   return myInteractionRelevanceAdvisory;
}

void DtFedTarget::setInteractionRelevanceAdvisory(bool value)
{
   myInteractionRelevanceAdvisory = value;
}

bool DtFedTarget::serviceReporting() const
{
   return myServiceReporting;
}

void DtFedTarget::setServiceReporting(bool value)
{
   myServiceReporting = value;
}

bool DtFedTarget::exceptionReporting() const
{
   return myExceptionReporting;
}

void DtFedTarget::setExceptionReporting(bool value)
{
   myExceptionReporting = value;
}

bool DtFedTarget::delaySubscriptionEvaluation() const
{
   return myDelaySubscriptionEvaluation;
}

void DtFedTarget::setDelaySubscriptionEvaluation(bool value)
{
   myDelaySubscriptionEvaluation = value;
}

DtResignAction DtFedTarget::automaticResignAction() const
{
   return myAutomaticResignAction;
}

void DtFedTarget::setAutomaticResignAction(DtResignAction value)
{
   myAutomaticResignAction = value;
}

bool DtFedTarget::knownSwitch(DtString const & name) const
{
   return switches.find(name) != switches.end();
}

unsigned int DtFedTarget::numSwitches() const
{
   return static_cast<unsigned int>(switches.size());
}

bool DtFedTarget::switchValue(DtString const & name) const
{
   auto const found = switches.find(name);
   return found != switches.end() && found->second;
}

void DtFedTarget::addSwitch(DtString const & name, bool value)
{
   switches.emplace(name, value);
}
