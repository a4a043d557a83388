// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslObserver.h"

#include "support/slots.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

namespace
{

typedef DtObservee::DtWhyNotifyObserver Why;

/// What happened since it was taken.
std::string heard;

std::string takeHeard()
{
   return std::exchange(heard, "");
}

struct Observee : DtObservee
{
   ~Observee() override { heard += "~"; }
   bool deRegisterObservedBy(DtAbsNotifyObserver * target) override
   {
      heard += "-";
      return !refuses && DtObservee::deRegisterObservedBy(target);
   }
   void notifyAllObservers(Why const & why) override { heard += "*", DtObservee::notifyAllObservers(why); }
   bool refuses = false;
};

/// Tells its name at a pending deletion and "'" behind it at a deletion. Does what is asked, once, in place
/// of forgetting the object.
struct Watcher : DtObserver
{
   using DtObserver::removeObservedReference;
   Watcher(char newName, DtObservee * object) : name(1, newName) { EXPECT_TRUE(startObserving(object)); }
   bool pendingDeleteOfYourObserved(DtObservee const * object) override { return hear(object, name); }
   bool deleteOfYourObserved(DtObservee const * object) override { return hear(object, name + "'"); }
   bool hear(DtObservee const * object, std::string const & what)
   {
      heard += what;
      if (std::function<void()> const once = std::exchange(reaction, nullptr))
         return once(), true;
      return removeObservedReference(object);
   }
   std::string name;
   std::function<void()> reaction;
};

TEST(DtObserver, KeepsBothListsInStep)
{
   EXPECT_EQ(slotOf(&DtAbsNotifyObserver::notifyFromObserved), 2u);
   EXPECT_TRUE(inSlotsFrom(2, &DtObservee::registerObservedBy, &DtObservee::deRegisterObservedBy,
                           &DtObservee::notifyAllObservers));
   EXPECT_TRUE(inSlotsFrom(2, &Watcher::startObserving, &Watcher::stopObserving, &Watcher::isBeingObserved,
                           &Watcher::notifyFromYourObserved, &Watcher::pendingDeleteOfYourObserved,
                           &Watcher::deleteOfYourObserved, &Watcher::removeObservedReference));
   Observee object, other;
   Watcher a('a', &object), b('b', &other);
   EXPECT_FALSE(a.startObserving(&object) || a.startObserving(nullptr) || b.stopObserving(&object));
   object.refuses = true;
   EXPECT_FALSE(a.stopObserving(&object) || !a.isBeingObserved(&object));
   object.refuses = false;
   EXPECT_TRUE(a.stopObserving(&object) && !a.isBeingObserved(&object) && a.startObserving(&object));
   takeHeard();
   {
      DtObserver copy(a), &same = copy;
      copy = b;
      copy = same;
      EXPECT_EQ(takeHeard(), "-");
      EXPECT_TRUE(copy.isBeingObserved(&other) && !copy.isBeingObserved(&object));
   }
   EXPECT_EQ(takeHeard(), "-");
   DtObserverNotifier notifier(&a), nobody(nullptr);
   EXPECT_TRUE(notifier.notifyFromObserved(&object, Why(5)));
   EXPECT_FALSE(a.notifyFromYourObserved(&object, Why(5)) || a.notifyFromYourObserved(nullptr, Why(0)));
   notifier = nobody;
   EXPECT_FALSE(DtObserverNotifier(notifier).notifyFromObserved(&object, Why(0)));
   EXPECT_TRUE(object.registerObservedBy(&nobody) && !object.registerObservedBy(&nobody));
   EXPECT_TRUE(object.deRegisterObservedBy(&nobody) && !object.deRegisterObservedBy(&nobody));
   struct : DtAbsNotifyObserver
   {
   } plain;
   EXPECT_FALSE(plain.notifyFromObserved(&object, Why(0)) || object.registerObservedBy(nullptr));
}

TEST(DtObservee, TellsItsEndUnlessTheLastNoticeDidSo)
{
   // Notices by their reasons, "=" for an assignment, "s" for one of the object to itself.
   for (auto const & [steps, heardInAll] :
        {std::pair("", "~a'b'"), {"0", "*ab~"}, {"07", "*ab*~a'b'"}, {"0s", "*ab~"}, {"0=", "*ab~~a'b'"}})
   {
      takeHeard();
      Observee *object = new Observee, &same = *object;
      Watcher a('a', object), b('b', object);
      for (char const * step = steps; *step != '\0'; ++step)
         if (*step == '=')
            *object = Observee(*object);
         else if (*step == 's')
            *object = same;
         else
            object->notifyAllObservers(Why(*step - '0'));
      delete object;
      EXPECT_EQ(takeHeard(), heardInAll);
      EXPECT_FALSE(a.isBeingObserved(object) || b.isBeingObserved(object));
   }
}

TEST(DtObservee, OutlivesWhatItsObserversDoInANotice)
{
   Observee * object = nullptr;
   Watcher *a = nullptr, *b = nullptr, *c = nullptr;
   // What b does, which stands between a and c, and what is heard in all.
   std::pair<std::function<void()>, char const *> const rows[] = {
      {nullptr, "*abc~"},
      {[&] { b->stopObserving(object); }, "*ab-c~"},
      {[&] { b->removeObservedReference(object), c->stopObserving(object); }, "*ab-~"},
      {[&] { b->stopObserving(object), b->startObserving(object); }, "*ab-cb~"},
      {[&] { delete std::exchange(b, nullptr); }, "*ab-c~"},
      {[&] { b->removeObservedReference(object), delete std::exchange(b, nullptr); }, "*abc~"},
      // A notice within the notice: b, which the outer one stands at, goes in the inner one.
      {[&] { a->reaction = [&] { b->stopObserving(object); }, object->notifyAllObservers(Why(0)); },
       "*ab*a-cc~"},
      {[&] { b->removeObservedReference(object), delete object; }, "*ab~a'b'c'"},
   };
   for (auto const & [reaction, expected] : rows)
   {
      object = new Observee;
      a = new Watcher('a', object);
      b = new Watcher('b', object);
      c = new Watcher('c', object);
      b->reaction = reaction;
      takeHeard();
      DtObservee::destroy(object);
      EXPECT_EQ(takeHeard(), expected);
      for (Watcher * watcher : {a, b, c})
      {
         EXPECT_FALSE(watcher != nullptr && watcher->isBeingObserved(object));
         delete watcher;
      }
   }
   DtObservee::destroy(nullptr);
}

} // namespace
