// SPDX-License-Identifier: MIT
#include "tslutil/thread/tslObserver.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

namespace
{

typedef DtObservee::DtWhyNotifyObserver Why;

/// What happened.
std::string heard;

struct Observee : DtObservee
{
   ~Observee() override { heard += "~"; }
   bool deRegisterObservedBy(DtAbsNotifyObserver * target) override
   {
      return heard += "-", !refuses && DtObservee::deRegisterObservedBy(target);
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
   Observee object, other;
   Watcher a('a', &object), b('b', &other);
   EXPECT_FALSE(a.startObserving(&object) || a.startObserving(nullptr) || b.stopObserving(&object));
   object.refuses = true;
   EXPECT_FALSE(a.stopObserving(&object) || !a.isBeingObserved(&object));
   object.refuses = false;
   EXPECT_TRUE(a.stopObserving(&object) && !a.isBeingObserved(&object) && a.startObserving(&object));
   heard.clear();
   {
      DtObserver copy(a), &same = copy;
      copy = b;
      copy = same;
      EXPECT_TRUE(heard == "-" && copy.isBeingObserved(&other) && !copy.isBeingObserved(&object));
   }
   EXPECT_EQ(heard, "--");
   DtObserverNotifier notifier(&a), nobody(nullptr);
   EXPECT_TRUE(notifier.notifyFromObserved(&object, Why(5)));
   EXPECT_FALSE(a.notifyFromYourObserved(&object, Why(5)) || a.notifyFromYourObserved(nullptr, Why(0)));
   notifier = nobody;
   EXPECT_FALSE(DtObserverNotifier(notifier).notifyFromObserved(&object, Why(0)) ||
                nobody.DtAbsNotifyObserver::notifyFromObserved(&object, Why(0)));
   EXPECT_TRUE(object.registerObservedBy(&nobody) && !object.registerObservedBy(&nobody) &&
               object.deRegisterObservedBy(&nobody) && !object.deRegisterObservedBy(&nobody) &&
               !object.registerObservedBy(nullptr));
}

TEST(DtObservee, TellsItsEndOnceAndOutlivesWhatItsObserversDoInANotice)
{
   Observee * object = nullptr;
   Watcher *a = nullptr, *b = nullptr, *c = nullptr;
   auto const tell = [&](int why) { object->notifyAllObservers(Why(why)); };
   // clang-format off
   // What is heard in all, what comes ahead of a plain deletion, and what b, between a and c, does in a notice.
   struct { char const * heardInAll; std::function<void()> ahead, reaction; } const rows[] = {
      {"~a'b'c'", [] {}, {}}, {"*abc~", [&] { tell(0); }, {}}, {"*abc*~a'b'c'", [&] { tell(0), tell(7); }, {}},
      {"*abc~", [&] { tell(0), *object = *object; }, {}},
      {"*abc~~a'b'c'", [&] { tell(0), *object = Observee(*object); }, {}},
      {"*abc~", {}, {}}, {"*ab-c~", {}, [&] { b->stopObserving(object); }},
      {"*ab-~", {}, [&] { b->removeObservedReference(object), c->stopObserving(object); }},
      {"*ab-cb~", {}, [&] { b->stopObserving(object), b->startObserving(object); }},
      {"*ab-c~", {}, [&] { delete std::exchange(b, nullptr); }},
      {"*abc~", {}, [&] { b->removeObservedReference(object), delete std::exchange(b, nullptr); }},
      // A notice within the notice: b, which the outer one stands at, goes in the inner one.
      {"*ab*a-cc~", {}, [&] { a->reaction = [&] { b->stopObserving(object); }, tell(0); }},
      {"*ab~a'b'c'", {}, [&] { b->removeObservedReference(object), delete object; }}};
   // clang-format on
   for (auto const & [heardInAll, ahead, reaction] : rows)
   {
      object = new Observee;
      for (auto [watcher, name] : {std::pair(&a, 'a'), {&b, 'b'}, {&c, 'c'}})
         *watcher = new Watcher(name, object);
      b->reaction = reaction;
      heard.clear();
      if (ahead)
         ahead(), delete object;
      else
         DtObservee::destroy(object);
      EXPECT_EQ(heard, heardInAll);
      for (Watcher * watcher : {a, b, c})
      {
         EXPECT_FALSE(watcher != nullptr && watcher->isBeingObserved(object));
         delete watcher;
      }
   }
   DtObservee::destroy(nullptr);
}

} // namespace
