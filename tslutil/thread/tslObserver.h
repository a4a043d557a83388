// SPDX-License-Identifier: MIT
#pragma once

#include "tslutil/base/tslList.h"
#include "tslutil/tslutilExport.h"

class DtAbsNotifyObserver;

/// Something whose end others want to hear of, so that they keep no pointer to what is gone. Deleting it
/// tells them when only this base is left of it; destroy tells them while it is whole. Each way gives one
/// notice. An object and those who observe it are used by one thread at a time. During a notice targets may
/// be removed and deleted, and so may the object itself.
class TSLUTIL_EXPORT DtObservee
{
public:
   /// Why a notice is given: the object is about to be deleted and still whole, or only its DtObservee part
   /// is left. Other values are passed on and mean nothing here.
   enum DtWhyNotifyObserver : int
   {
      DtPendingDelete = 0,
      DtDelete = 1
   };

   DtObservee();
   /// Observers stay with the object that they chose: the copy has none.
   DtObservee(DtObservee const & other);
   /// Observers stay with both; this object counts as one that gave no notice. Nothing for the object itself.
   DtObservee & operator=(DtObservee const & other);

   // Virtual operations, in slot order.

   /// Gives the notice DtDelete, unless the last notice was DtPendingDelete.
   virtual ~DtObservee();
   /// Appends a target of notices, which must stay until it is removed. False if it is null or there already.
   virtual bool registerObservedBy(DtAbsNotifyObserver * target);
   /// Removes a target; false if it isn't there.
   virtual bool deRegisterObservedBy(DtAbsNotifyObserver * target);
   /// Tells all targets, in the order of registration. A DtPendingDelete sent by hand has observers forget
   /// the object, which still knows them, and silences the destructor until another notice is given; such
   /// observers must outlive that notice.
   virtual void notifyAllObservers(DtWhyNotifyObserver const & why);

   /// Gives the notice DtPendingDelete, then deletes the object; nothing for null.
   static void destroy(DtObservee * object);

protected:
   /// What notifyAllObservers does.
   void internalNotifyAllObservers(DtWhyNotifyObserver const & why);

private:
   struct Walk;

   DtList observers;
   bool pendingDeleteSent;
   Walk * walks;
};

/// The target of notices.
class TSLUTIL_EXPORT DtAbsNotifyObserver
{
public:
   // Virtual operations, in slot order.

   virtual ~DtAbsNotifyObserver();
   /// Is told of `object`. The result says whether the notice was of use; false by default.
   virtual bool notifyFromObserved(DtObservee * object, DtObservee::DtWhyNotifyObserver const & why);

protected:
   DtAbsNotifyObserver();
   /// Copies nothing.
   DtAbsNotifyObserver(DtAbsNotifyObserver const & other);
   /// Changes nothing.
   DtAbsNotifyObserver & operator=(DtAbsNotifyObserver const & other);
};

class DtObserver;

/// Passes notices on to a DtObserver.
class TSLUTIL_EXPORT DtObserverNotifier : public DtAbsNotifyObserver
{
public:
   /// The owner stays the caller's and may be null.
   explicit DtObserverNotifier(DtObserver * owner);
   /// Copies name the same owner.
   DtObserverNotifier(DtObserverNotifier const & other);
   /// The same.
   DtObserverNotifier & operator=(DtObserverNotifier const & other);

   // Virtual operations, in slot order.

   ~DtObserverNotifier() override;
   /// Tells the owner and returns true, whatever the owner made of it; false without one.
   bool notifyFromObserved(DtObservee * object, DtObservee::DtWhyNotifyObserver const & why) override;

private:
   DtObserver * observer;
};

/// Watches objects for their end, and lets them know when it goes first. By default it forgets an object
/// whose end it hears of; subclasses override the two handlers to do more, and then call these or remove the
/// reference themselves. A handler may delete its observer.
class TSLUTIL_EXPORT DtObserver
{
public:
   DtObserver();
   /// Watches what the source watches.
   DtObserver(DtObserver const & other);
   /// Stops watching, then watches what the source watches; nothing for the object itself.
   DtObserver & operator=(DtObserver const & other);

   // Virtual operations, in slot order.

   /// Takes itself off the lists of all that it watches.
   virtual ~DtObserver();
   /// Begins to watch; false if it does already or the object refuses.
   virtual bool startObserving(DtObservee * object);
   /// Ends to watch; false if it doesn't watch, or the object doesn't know it and so stays watched.
   virtual bool stopObserving(DtObservee * object);
   /// Whether it watches.
   virtual bool isBeingObserved(DtObservee * object);
   /// Calls the handler of the notice and returns its result; false for an unknown reason.
   virtual bool notifyFromYourObserved(DtObservee const * object,
                                       DtObservee::DtWhyNotifyObserver const & why);

protected:
   /// The object is about to be deleted and still whole. Forgets it; returns whether it was watched.
   virtual bool pendingDeleteOfYourObserved(DtObservee const * object);
   /// The object is being deleted; only its address is of use. Forgets it; returns whether it was watched.
   virtual bool deleteOfYourObserved(DtObservee const * object);
   /// Forgets an object without telling it; false if it wasn't watched.
   virtual bool removeObservedReference(DtObservee const * object);

   /// What startObserving and stopObserving do.
   bool internalStartObserving(DtObservee * object);
   /// What stopObserving does.
   bool internalStopObserving(DtObservee * object);

private:
   DtList observed;
   DtObserverNotifier notifier;
};
