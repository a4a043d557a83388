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
   explicit Watcher(char newName) : name(1, newName) {}
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
   Watcher a('a'), b('b');
   EXPECT_TRUE(a.startObserving(&object) && a.startObserving(&other) && b.startObserving(&object));
   EXPECT_FALSE(a.startObserving(&object) || a.startObserving(nullptr) || b.stopObserving(&other));
   object.refuses = true;
   EXPECT_FALSE(a.stopObserving(&object) || !a.isBeingObserved(&object));
   object.refuses = false;
   EXPECT_TRUE(a.stopObserving(&object) && !a.isBeingObserved(&object) && a.startObserving(&object));
   takeHeard();
   {
      DtObserver copy(a), &same = copy;
      copy = same;
      copy = b;
      EXPECT_EQ(takeHeard(), "--");
      EXPECT_TRUE(copy.isBeingObserved(&object) && !copy.isBeingObserved(&other));
   }
   EXPECT_EQ(takeHeard(), "-");
   DtObserverNotifier notifier(&a), nobody(nullptr);
   EXPECT_TRUE(notifier.notifyFromObserved(&object, Why(5)));
   EXPECT_FALSE(a.notifyFromYourObserved(&object, Why(5)) || a.notifyFromYourObserved(nullptr, Why(0)));
   notifier = nobody;
   EXPECT_FALSE(DtObserverNotifier(notifier).notifyFromObserved(&object, Why(0)));
   EXPECT_TRUE(object.registerObservedBy(&nobody) && !object.registerObservedBy(&nobody));
   EXPECT_TRUE(object.deRegisterObservedBy(&nobody) && !object.deRegisterObservedBy(&nobody));
}

TEST(DtObservee, TellsItsEndUnlessTheLastNoticeDidSo)
{
   struct Target : DtAbsNotifyObserver
   {
      bool notifyFromObserved(DtObservee * object, Why const & why) override
      {
         heard += std::to_string(why);
         return DtAbsNotifyObserver::notifyFromObserved(object, why);
      }
   } target;
   takeHeard();
   // Notices by their reasons, "=" for an assignment, "s" for one of the object to itself.
   for (auto const & [steps, heardInAll] :
        {std::pair("", "~1"), {"0", "*0~"}, {"07", "*0*7~1"}, {"0s", "*0~"}, {"0=", "*0~~1"}})
   {
      takeHeard();
      {
         Observee object, &same = object;
         EXPECT_TRUE(object.registerObservedBy(&target) && !object.registerObservedBy(nullptr));
         for (char const * step = steps; *step != '\0'; ++step)
            if (*step == '=')
               object = Observee(object);
            else if (*step == 's')
               object = same;
            else
               object.notifyAllObservers(Why(*step - '0'));
      }
      EXPECT_EQ(takeHeard(), heardInAll);
   }
   EXPECT_FALSE(target.notifyFromObserved(nullptr, Why(0)));
   takeHeard();
}

TEST(DtObservee, OutlivesWhatItsObserversDoInANotice)
{
   Observee * object = nullptr;
   Watcher *a = nullptr, *b = nullptr, *c = nullptr;
   struct Row
   {
      std::function<void()> reaction; // of b, which stands between a and c
      char const * heardWhenDestroyed;
      char const * heardWhenDeleted;
   } const rows[] = {
      {nullptr, "*abc~", "~a'b'c'"},
      {[&] { b->stopObserving(object); }, "*ab-c~", "~a'b'c'"},
      {[&] { b->removeObservedReference(object), c->stopObserving(object); }, "*ab-~", "~a'b'"},
      {[&] { b->stopObserving(object), b->startObserving(object); }, "*ab-cb~", "~a'b'c'b'"},
      {[&] { delete std::exchange(b, nullptr); }, "*ab-c~", "~a'b'c'"},
      {[&] { b->removeObservedReference(object), delete std::exchange(b, nullptr); }, "*abc~", "~a'b'c'"},
      // A notice within the notice: b, which the outer one stands at, goes in the inner one.
      {[&]
       { a->reaction = [&] { b->stopObserving(object); }, object->DtObservee::notifyAllObservers(Why(0)); },
       "*aba-cc~", "~a'b'acc'"},
      {[&] { b->removeObservedReference(object), delete object; }, "*ab~a'b'c'", nullptr},
   };
   for (Row const & row : rows)
      for (char const * expected : {row.heardWhenDestroyed, row.heardWhenDeleted})
      {
         if (expected == nullptr)
            continue;
         Watcher * const watchers[] = {a = new Watcher('a'), b = new Watcher('b'), c = new Watcher('c')};
         object = new Observee;
         for (Watcher * watcher : watchers)
            watcher->startObserving(object);
         b->reaction = row.reaction;
         expected[0] == '*' ? DtObservee::destroy(object) : delete object;
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
