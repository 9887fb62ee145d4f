// Objects of their own in several threads at once: nothing they share may be seen by the others, and an
// object goes on its own thread. The thread sanitizer build looks for the races that pass unnoticed here.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "boundary/classes.h"
#include "common/error.h"
#include "common/text.h"
#include "domain/Corvex.h"
#include "support/temp_folder.h"

namespace quarno {
namespace {

using automation::Access;

Variant call(automation::Object& object, std::string_view name, std::vector<Variant> arguments = {}) {
  return automation::invoke(object, name, Access::call, arguments);
}

void log_read_and_ask(const std::string& folder, int worker) {
  const std::string path = folder + "/" + std::to_string(worker) + ".log";
  for (int round = 0; round < 50; ++round) {
    const auto log = boundary::create("CSuperLog");
    put_property(*log, "fileName", path);
    for (int line = 0; line < 5; ++line)
      call(*log, "WriteLog", {std::to_string(worker) + ";" + std::to_string(line)});
    // The record of a failure is this thread's alone.
    current_error().source = std::to_string(worker);
    call(*log, "WriteLog", {""});
    EXPECT_EQ(current_error().source, std::to_string(worker));

    const auto reader = boundary::create("CFileReader");
    call(*reader, "SetDataMode", {2});
    ASSERT_EQ(call(*reader, "OpenFile", {path}), Variant(true));
    const auto corvex = boundary::create("Corvex");
    for (int line = 0; call(*reader, "ReadLine") == Variant(true); ++line) {
      EXPECT_EQ(call(*reader, "GetColumnValue", {0}), Variant(std::to_string(worker)));
      EXPECT_EQ(call(*corvex, "StringToDouble", {call(*reader, "GetColumnValue", {1})}),
                Variant(double(line)));
    }
    call(*corvex, "CorvexLog", {"event", round % 14, folder});
    call(*corvex, "ScriviSarvia", {folder + "/export.txt", "P", "D", 1, 2, 3, "VAL", 100, worker, 0.5, 1});
  }
}

TEST(Threads, EachWorksWithObjectsOfItsOwn) {
  const test::TempFolder folder;
  std::vector<std::thread> threads;
  for (int worker = 1; worker <= 3; ++worker) threads.emplace_back(log_read_and_ask, folder.path(), worker);
  for (auto& thread : threads) thread.join();
  // Appended lines stay whole, whoever wrote them.
  const std::string all = test::bytes_of(folder / "export.txt");
  std::size_t count = 0;
  for (const std::string_view line : text::split(std::string_view(all).substr(0, all.size() - 2), "\r\n")) {
    EXPECT_TRUE(line.starts_with("P|D|1|2|3|S|100|") && line.ends_with("|.5|1")) << line;
    ++count;
  }
  EXPECT_EQ(count, 150u);
}

struct Watched : Corvex {
  explicit Watched(std::thread::id& destroyed_on) : destroyed_on_(destroyed_on) {}
  ~Watched() override { destroyed_on_ = std::this_thread::get_id(); }
  std::thread::id& destroyed_on_;
};

const automation::Object* watched(std::thread::id& destroyed_on) {
  auto* const object = new Watched(destroyed_on);
  object->retain();
  return object;
}

TEST(Threads, AnObjectReleasedElsewhereGoesOnItsOwnThread) {
  const automation::Object* left = nullptr;
  std::thread::id own, drained, at_end, after_end;
  std::thread([&] {
    own = std::this_thread::get_id();
    left = watched(after_end);
    const auto release_elsewhere = [](const automation::Object* object) {
      std::thread([object] { object->release_from_any_thread(); }).join();
    };
    release_elsewhere(watched(drained));
    EXPECT_EQ(drained, std::thread::id());
    automation::OwnerThread::current()->drain();
    EXPECT_EQ(drained, own);
    release_elsewhere(watched(at_end));
    EXPECT_EQ(at_end, std::thread::id());
  }).join();
  EXPECT_EQ(at_end, own);
  left->release_from_any_thread();  // nobody is left to drain
  EXPECT_EQ(after_end, std::this_thread::get_id());
}

}  // namespace
}  // namespace quarno
