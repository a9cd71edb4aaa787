#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include <thread>

#include "corelib/base/types.h"
#include "corelib/containers/shared/condition_holder.h"
#include "corelib/containers/shared/diagnostic.h"
#include "corelib/containers/shared/mapped_store.h"
#include "corelib/containers/shared/named_semaphore.h"
#include "tests/child.h"
#include "tests/temp_folder.h"

namespace tstl {
namespace {

// A semaphore of the system, made and removed here.
struct Made {
  explicit Made(unsigned count, std::string given = "/zenta-test-" + std::to_string(getpid()))
      : name(std::move(given)) {
    NamedSemaphore::unlink(name.c_str());
    sem_close(sem_open(name.c_str(), O_CREAT | O_EXCL, 0600, count));
  }
  ~Made() { NamedSemaphore::unlink(name.c_str()); }
  const std::string name;
};

// Counts how often the semaphore can be taken without waiting.
int Drain(NamedSemaphore& semaphore) {
  int count = 0;
  while (semaphore.trywait() == 0) ++count;
  return count;
}

TEST(NamedSemaphoreTest, PostAddsAndAClosedOneDoesNothingHavingUnlinkedTheLabelAndNotTheName) {
  const Made made(2);
  NamedSemaphore semaphore;
  for (const char* const none : {static_cast<const char*>(nullptr), "/zenta-test-no-such"}) {
    const Made label(1, "tstl_sem_semaphore_open");
    ASSERT_EQ(semaphore.open(made.name.c_str()), 0u);
    semaphore.post(3);
    semaphore.post(0);
    semaphore.wait();
    EXPECT_EQ(Drain(semaphore), 4);
    semaphore.post(2);
    EXPECT_EQ(semaphore.open(none), FAILURE);
    EXPECT_EQ(NamedSemaphore().open(label.name.c_str()), FAILURE);
    EXPECT_TRUE(semaphore.is_empty() && semaphore.label().is_empty());
    EXPECT_EQ(semaphore.trywait(), -1);
    semaphore.wait();
    semaphore.post(3);
  }
}

// Each reads the number, lets the other run, and writes the next; a timer interrupts the waits.
TEST(NamedSemaphoreTest, ProcessesThatWaitOnItCountTogether) {
  constexpr int kRounds = 1000;
  const Made made(1);
  MappedStore shared;
  ASSERT_EQ(shared.open(zenta::TempFolder().At("count").c_str(), sizeof kRounds, 0), 0u);
  auto* const number = reinterpret_cast<volatile int*>(shared.data());
  const auto count = [&] {
    struct sigaction ignore = {};
    ignore.sa_handler = [](int) {};
    sigaction(SIGALRM, &ignore, nullptr);
    const itimerval often{{0, 300}, {0, 300}};
    setitimer(ITIMER_REAL, &often, nullptr);
    NamedSemaphore semaphore;
    if (semaphore.open(made.name.c_str()) != 0) return 1;
    for (int i = 0; i < kRounds; ++i) {
      semaphore.wait();
      const int seen = *number;
      usleep(i % 32 == 0 ? 1000 : 0);
      *number = seen + 1;
      semaphore.post(1);
    }
    return 0;
  };
  zenta::Child one(count), other(count);
  EXPECT_EQ(one.Wait() + other.Wait(), 0);
  EXPECT_EQ(int{*number}, 2 * kRounds);
}

TEST(DiagnosticTest, PrintsTheThreadBetweenWaitAndPost) {
  const Made made(0, kDiagnosticSemaphore);
  NamedSemaphore semaphore;
  ASSERT_EQ(semaphore.open(made.name.c_str()), 0u);
  testing::internal::CaptureStdout();
  std::thread thread(print_thread_id);
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const auto id = std::to_string((unsigned long long)(thread.native_handle()));
  std::fputs("first ", stdout);
  semaphore.post(1);
  thread.join();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "first ThreadID: " + id + "\n");
  EXPECT_EQ(Drain(semaphore), 1);
}

TEST(ConditionHolderTest, BroadcastWakesWhoWaits) {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  ConditionHolder condition;
  condition.broadcast();
  ASSERT_EQ(condition.create(&mutex), 0u);
  pthread_mutex_lock(&mutex);
  bool go = false;
  std::thread thread([&] {
    pthread_mutex_lock(&mutex);  // acquired only once the other thread waits
    go = true;
    condition.broadcast();
    pthread_mutex_unlock(&mutex);
  });
  while (!go) condition.wait();
  pthread_mutex_unlock(&mutex);
  thread.join();
}

}  // namespace
}  // namespace tstl
