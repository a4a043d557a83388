// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslObserver.h"

namespace
{

DtAbsNotifyObserver * targetAt(DtListItem const * item)
{
   return static_cast<DtAbsNotifyObserver *>(item->data());
}

DtObservee * observeeAt(DtListItem const * item)
{
   return static_cast<DtObservee *>(item->data());
}

} // namespace

/// A notice on its way through the targets, which those may change. Notices may nest.
struct DtObservee::Walk
{
   explicit Walk(DtObservee & walked) : object(&walked), told(nullptr), outer(walked.walks)
   {
      walked.walks = this;
   }

   ~Walk()
   {
      if (object != nullptr)
         object->walks = outer;
   }

   Walk(Walk const &) = delete;
   Walk & operator=(Walk const &) = delete;

   /// Goes on to the next target; false at the end.
   bool next()
   {
      told = told != nullptr ? told->next() : object->observers.first();
      return told != nullptr;
   }

   /// Null once the object is gone.
   DtObservee * object;
   /// The target that was told last and is still there; null ahead of the first.
   DtListItem * told;
   Walk * outer;
};

DtObservee::DtObservee() : pendingDeleteSent(false), walks(nullptr) {}

DtObservee::DtObservee(DtObservee const &) : DtObservee() {}

DtObservee & DtObservee::operator=(DtObservee const & other)
{
   if (this != &other)
      pendingDeleteSent = false;
   return *this;
}

DtObservee::~DtObservee()
{
   if (!pendingDeleteSent)
      internalNotifyAllObservers(DtDelete);
   for (Walk * walk = walks; walk != nullptr; walk = walk->outer)
      walk->object = nullptr;
}

bool DtObservee::registerObservedBy(DtAbsNotifyObserver * target)
{
   if (target == nullptr || observers.itemLookup(target) != nullptr)
      return false;
   observers.add(target);
   return true;
}

bool DtObservee::deRegisterObservedBy(DtAbsNotifyObserver * target)
{
   DtListItem * const item = target != nullptr ? observers.itemLookup(target) : nullptr;
   if (item == nullptr)
      return false;
   for (Walk * walk = walks; walk != nullptr; walk = walk->outer)
      if (walk->told == item)
         walk->told = item->prev();
   observers.remove(item);
   return true;
}

void DtObservee::notifyAllObservers(DtWhyNotifyObserver const & why)
{
   internalNotifyAllObservers(why);
}

void DtObservee::internalNotifyAllObservers(DtWhyNotifyObserver const & why)
{
   // The reason may go with the object.
   DtWhyNotifyObserver const reason = why;
   Walk walk(*this);
   while (walk.next())
   {
      targetAt(walk.told)->notifyFromObserved(this, reason);
      if (walk.object == nullptr)
         return;
   }
   // At the end, so that it tells of the last notice given.
   pendingDeleteSent = reason == DtPendingDelete;
}

void DtObservee::destroy(DtObservee * object)
{
   if (object == nullptr)
      return;
   bool isThere = true;
   {
      Walk const walk(*object);
      object->notifyAllObservers(DtPendingDelete);
      isThere = walk.object != nullptr;
   }
   if (isThere)
      delete object;
}

DtAbsNotifyObserver::DtAbsNotifyObserver() = default;

DtAbsNotifyObserver::DtAbsNotifyObserver(DtAbsNotifyObserver const & other) = default;

DtAbsNotifyObserver & DtAbsNotifyObserver::operator=(DtAbsNotifyObserver const & other) = default;

DtAbsNotifyObserver::~DtAbsNotifyObserver() = default;

bool DtAbsNotifyObserver::notifyFromObserved(DtObservee *, DtObservee::DtWhyNotifyObserver const &)
{
   return false;
}

DtObserverNotifier::DtObserverNotifier(DtObserver * owner) : observer(owner) {}

DtObserverNotifier::DtObserverNotifier(DtObserverNotifier const & other) = default;

DtObserverNotifier & DtObserverNotifier::operator=(DtObserverNotifier const & other) = default;

DtObserverNotifier::~DtObserverNotifier() = default;

bool DtObserverNotifier::notifyFromObserved(DtObservee * object, DtObservee::DtWhyNotifyObserver const & why)
{
   if (observer == nullptr)
      return false;
   // The last look at this object, which the owner may take along.
   observer->notifyFromYourObserved(object, why);
   return true;
}

DtObserver::DtObserver() : notifier(this) {}

DtObserver::DtObserver(DtObserver const & other) : DtObserver()
{
   *this = other;
}

DtObserver & DtObserver::operator=(DtObserver const & other)
{
   if (this == &other)
      return *this;
   for (DtListItem const * item = observed.first(); item != nullptr;)
   {
      DtObservee * const object = observeeAt(item);
      item = item->next();
      internalStopObserving(object);
   }
   for (DtListItem const * item = other.observed.first(); item != nullptr; item = item->next())
      internalStartObserving(observeeAt(item));
   return *this;
}

DtObserver::~DtObserver()
{
   for (DtListItem const * item = observed.first(); item != nullptr; item = item->next())
      observeeAt(item)->deRegisterObservedBy(&notifier);
}

bool DtObserver::startObserving(DtObservee * object)
{
   return internalStartObserving(object);
}

bool DtObserver::stopObserving(DtObservee * object)
{
   return internalStopObserving(object);
}

bool DtObserver::isBeingObserved(DtObservee * object)
{
   return observed.itemLookup(object) != nullptr;
}

bool DtObserver::notifyFromYourObserved(DtObservee const * object,
                                        DtObservee::DtWhyNotifyObserver const & why)
{
   switch (why)
   {
   case DtObservee::DtPendingDelete:
      return pendingDeleteOfYourObserved(object);
   case DtObservee::DtDelete:
      return deleteOfYourObserved(object);
   }
   return false;
}

bool DtObserver::pendingDeleteOfYourObserved(DtObservee const * object)
{
   return removeObservedReference(object);
}

bool DtObserver::deleteOfYourObserved(DtObservee const * object)
{
   return removeObservedReference(object);
}

// The object's list is left alone: it is being walked, and the object goes.
bool DtObserver::removeObservedReference(DtObservee const * object)
{
   DtListItem * const item = observed.itemLookup(object);
   observed.remove(item);
   return item != nullptr;
}

bool DtObserver::internalStartObserving(DtObservee * object)
{
   if (object == nullptr || observed.itemLookup(object) != nullptr || !object->registerObservedBy(&notifier))
      return false;
   observed.add(object);
   return true;
}

bool DtObserver::internalStopObserving(DtObservee * object)
{
   DtListItem * const item = observed.itemLookup(object);
   if (item == nullptr || !object->deRegisterObservedBy(&notifier))
      return false;
   observed.remove(item);
   return true;
}
