// SPDX-License-Identifier: MIT
// Notification streams that are silent, as most are most of the time.
#include "bench/compare.h"

#include "tslutil/base/tslNotify.h"

#include <spdlog/spdlog.h>

#include <ostream>
#include <streambuf>

namespace
{

/// A level test that a derived class may replace.
class Level
{
public:
   explicit Level(int & shared) : level(shared) {}
   virtual ~Level() = default;
   virtual int threshold() const { return 4; }
   virtual bool okToPrint() const { return threshold() <= level; }

private:
   int & level;
};

/// What dropping a character costs at least: a stream without a put area that asks for its level.
class LevelTest : public std::streambuf
{
public:
   explicit LevelTest(Level & shared) : level(&shared) { benchmark::DoNotOptimize(level); }

protected:
   int_type overflow(int_type character) override
   {
      if (level->okToPrint())
         line += traits_type::to_char_type(character);
      return character;
   }

private:
   Level * level;
   std::string line;
};

bool const character = addComparison({"a character to a silent stream", "a level test in overflow", 1.05, 0},
                                     [](Bench & bench)
                                     {
                                        Level level(DtNotifyLevel);
                                        LevelTest buffer(level);
                                        std::ostream plain(&buffer);
                                        bench.run([] { DtDebug.put('x'); }, [&] { plain.put('x'); });
                                     });

bool const call = addComparison({"a call of a silent stream", "spdlog, disabled", 0.25, 0},
                                [](Bench & bench)
                                {
                                   spdlog::set_level(spdlog::level::off);
                                   int number = 0;
                                   bench.run([&] { DtDebug("number %d\n", ++number); },
                                             [&] { spdlog::debug("number {}", ++number); });
                                });

} // namespace
