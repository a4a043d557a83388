// SPDX-License-Identifier: MIT
#include "tslutil/base/tslOutputStream.h"

#include "support/capturedStream.h"
#include "support/slots.h"
#include "support/watchdog.h"
#include "tslutil/base/tslNotify.h"

#include <gmock/gmock.h>

#include <future>
#include <stdexcept>
#include <thread>

namespace
{

using ::testing::ElementsAre;

/// A printer that notes what it gets as "level stamp text".
class Notes : public DtPrinter
{
public:
   void write(std::string const & text, int level, bool stamp) override
   {
      lines.push_back(std::to_string(level) + (stamp ? " line " : " part ") + text);
   }
   std::vector<std::string> take() { return std::exchange(lines, {}); }

   std::vector<std::string> lines;
};

/// A stream of its own at level 2 with threshold 1.
class DtOutputStreamTest : public ::testing::Test
{
protected:
   int level = 2;
   Notes notes;
   DtOutputStreamBuffer buffer;
   DtOutputStream stream{&buffer, level, 1, &notes};
};

TEST_F(DtOutputStreamTest, SlotOrder)
{
   EXPECT_EQ(slotOf(&DtOutputStreamBuffer::setOutputStream), 14u);
   EXPECT_EQ(slotOf(&DtOutputStream::attachPrinter), 2u);
   EXPECT_EQ(slotOf(&DtOutputStream::detachPrinter), 3u);
   EXPECT_EQ(slotOf(&DtOutputStream::detachAllPrinters), 4u);
   EXPECT_EQ(slotOf(&DtOutputStream::write), 5u);
   EXPECT_EQ(slotOf(&DtOutputStream::setThreshold), 6u);
   EXPECT_EQ(slotOf(&DtOutputStream::threshold), 7u);
   EXPECT_EQ(slotOf(&DtOutputStream::okToPrint), 8u);
   EXPECT_EQ(slotOf(&DtOutputStream::operator()), 9u);
}

TEST_F(DtOutputStreamTest, LinesGoOutWholeAndStampedFlushesAsTheyAre)
{
   stream << "one" << 1 << "\ntwo\xff";
   EXPECT_THAT(notes.take(), ElementsAre("1 line one1\n"));
   stream << std::flush << std::flush << std::endl;
   EXPECT_THAT(notes.take(), ElementsAre("1 part two\xff", "1 part ", "1 line \n", "1 part "));
   EXPECT_EQ(buffer.sputc('\xff'), 0xff);
   EXPECT_EQ(buffer.pubsync(), 0);
}

TEST_F(DtOutputStreamTest, TheCallOperatorPutsThePartialLineFirst)
{
   stream << "partial";
   stream("%s %d", "made", 7);
   EXPECT_THAT(notes.take(), ElementsAre("1 part partial", "1 part made 7"));
   stream << "more";
   stream(nullptr);
   EXPECT_THAT(notes.take(), ElementsAre("1 part more"));
   stream("%s", std::string(5000, 'x').c_str());
   EXPECT_THAT(notes.take(), ElementsAre("1 part ", "1 part " + std::string(2047, 'x')));
}

TEST_F(DtOutputStreamTest, TheLevelIsAskedAtEveryCharacterAndWrite)
{
   level = 0;
   stream << "lost\n";
   stream("lost");
   stream.write("lost", true);
   EXPECT_FALSE(stream.okToPrint());
   level = 1;
   EXPECT_THAT(notes.take(), ElementsAre());
   stream << "kept";
   stream.setThreshold(2);
   stream << "lost";
   stream.setThreshold(-1);
   stream << "\n";
   EXPECT_THAT(notes.take(), ElementsAre("-1 line kept\n"));
   stream << "pending";
   level = -2;
   stream << std::flush;
   level = 2;
   stream << "\n";
   EXPECT_THAT(notes.take(), ElementsAre("-1 line \n"));
}

TEST_F(DtOutputStreamTest, PrintersAreAttachedOnceInOrderAndDetachedOnce)
{
   std::string order;
   struct Marker : DtPrinter
   {
      Marker(std::string & text, char letter) : out(text), mark(letter) {}
      void write(std::string const &, int, bool) override { out += mark; }
      std::string & out;
      char mark;
   };
   Marker a(order, 'a');
   Marker b(order, 'b');
   for (DtPrinter * printer : {static_cast<DtPrinter *>(&b), static_cast<DtPrinter *>(&a),
                               static_cast<DtPrinter *>(&b), static_cast<DtPrinter *>(nullptr)})
      stream.attachPrinter(printer);
   stream << "\n";
   EXPECT_EQ(order, "ba");
   EXPECT_FALSE(stream.detachPrinter(nullptr));
   EXPECT_TRUE(stream.detachPrinter(&b));
   EXPECT_FALSE(stream.detachPrinter(&b));
   stream << "\n";
   EXPECT_EQ(order, "baa");
   stream.detachAllPrinters();
   stream << "\n";
   EXPECT_EQ(order, "baa");
   EXPECT_EQ(notes.lines.size(), 2u);
}

TEST_F(DtOutputStreamTest, AFailingPrinterLosesTheLineAndNoMore)
{
   struct Failing : DtPrinter
   {
      void write(std::string const &, int, bool) override { throw std::runtime_error("full"); }
   } failing;
   stream.attachPrinter(&failing);
   stream << "one\ntwo" << std::flush;
   EXPECT_TRUE(stream.good());
   stream.detachPrinter(&failing);
   stream << "three\n";
   EXPECT_THAT(notes.take(), ElementsAre("1 line one\n", "1 part two", "1 line three\n"));
}

TEST_F(DtOutputStreamTest, APrinterMayUseTheStreamItPrintsFor)
{
   struct Nested : Notes
   {
      explicit Nested(DtOutputStream & out) : stream(out) {}
      void write(std::string const & text, int printLevel, bool stamp) override
      {
         Notes::write(text, printLevel, stamp);
         if (text == "outer\n")
            stream << "inner";
         stream.detachPrinter(text == "last\n" ? this : nullptr);
      }
      DtOutputStream & stream;
   } nested(stream);
   stream.attachPrinter(&nested);
   stream << "outer\n"
          << std::flush << "last\n"
          << "gone\n";
   EXPECT_THAT(nested.take(), ElementsAre("1 line outer\n", "1 part inner", "1 line last\n"));
}

TEST(DtOutputStream, CallsGoThroughTheSlots)
{
   struct Own : DtOutputStream
   {
      using DtOutputStream::DtOutputStream;
      int threshold() const override { return 5; }
      void write(std::string const & text, bool stamp) override
      {
         DtOutputStream::write("own " + text, stamp);
      }
   };
   int level = 4;
   Notes notes;
   DtOutputStreamBuffer buffer;
   EXPECT_EQ(buffer.pubsync(), -1);
   {
      Own stream(&buffer, level, 0, &notes);
      stream << "lost\n";
      level = 5;
      stream << "one\n";
      stream("two");
   }
   EXPECT_THAT(notes.take(), ElementsAre("5 line own one\n", "5 part own ", "5 part own two", "0 part "));
   EXPECT_EQ(buffer.pubsync(), -1);
   EXPECT_EQ(buffer.sputc('x'), 'x');
}

TEST(DtOutputStream, ItsDestructorFlushes)
{
   int level = 0;
   Notes notes;
   DtOutputStreamBuffer buffer;
   {
      DtOutputStream stream(&buffer, level, 0, &notes);
      stream << "partial";
   }
   EXPECT_THAT(notes.take(), ElementsAre("0 part partial"));
}

/// Stays inside `write` until it is let go.
class Stuck : public DtPrinter
{
public:
   void write(std::string const &, int, bool) override
   {
      entered.set_value();
      letGo.get_future().wait();
   }

   std::promise<void> entered;
   std::promise<void> letGo;
};

TEST(DtOutputStream, ASilentStreamTakesNoLock)
{
   Watchdog const watchdog;
   int level = 0;
   Stuck stuck;
   DtOutputStreamBuffer buffer;
   DtOutputStream stream(&buffer, level, 0, &stuck);
   // The thread holds the locks of stream and buffer: a printer with the mutex of its stream is inside.
   std::thread holder([&] { stream << '\n'; });
   stuck.entered.get_future().wait();
   stream.setThreshold(1);
   stream << "silent " << 1 << "\n";
   stream("%d", 1);
   stuck.letGo.set_value();
   holder.join();
}

TEST(DtOutputStream, ManyThreadsMayWrite)
{
   CapturedStream captured;
   std::vector<std::thread> threads;
   for (int i = 0; i < 4; ++i)
      threads.emplace_back(
         [i]
         {
            DtPrinter & other = DtStandardErrorConsole;
            for (int n = 0; n < 50; ++n)
            {
               DtWarn("whole %d\n", i);
               DtInfo << "x\n";
               DtInfo.detachPrinter(&other);
               DtDebug.setThreshold(4 + n % 2);
               DtDebug << "silent\n";
            }
         });
   for (std::thread & thread : threads)
      thread.join();
   DtDebug.setThreshold(4);
   int whole = 0;
   for (CapturedStream::Write const & one : captured.writes())
      whole += one.text.size() == 8 && one.text.compare(0, 6, "whole ") == 0 ? 1 : 0;
   EXPECT_EQ(whole, 200);
   EXPECT_EQ(captured.textAt(2).size(), 400u);
}

} // namespace
