#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "corelib/containers/condition_holder.h"
#include "corelib/containers/diagnostic.h"
#include "corelib/containers/named_semaphore.h"
#include "corelib/text/types.h"
#include "tests/child.h"
#include "tests/temp_folder.h"

namespace tstl {
namespace {

using zenta::Child;

// A semaphore of the system, made and removed here.
struct Made {
  Made(std::string given, unsigned count) : name(std::move(given)) {
    NamedSemaphore::unlink(name.c_str());
    sem_close(sem_open(name.c_str(), O_CREAT | O_EXCL, 0600, count));
  }
  ~Made() { NamedSemaphore::unlink(name.c_str()); }
  const std::string name;
};

std::string OwnName() { return "/zenta-test-" + std::to_string(getpid()); }

// What can be taken without waiting is the count.
int Drain(NamedSemaphore& semaphore) {
  int count = 0;
  while (semaphore.trywait() == 0) ++count;
  return count;
}

TEST(NamedSemaphoreTest, ClosedOneDoesNothing) {
  NamedSemaphore semaphore;
  const Made made(OwnName(), 1);
  for (const char* const name : {static_cast<const char*>(nullptr), "/zenta-test-no-such"}) {
    ASSERT_EQ(semaphore.open(made.name.c_str()), 0u);
    EXPECT_EQ(semaphore.open(name), FAILURE);
    EXPECT_TRUE(semaphore.is_empty() && semaphore.label().is_empty());
    EXPECT_EQ(semaphore.trywait(), -1);
    semaphore.wait();
    semaphore.post(3);
  }
  NamedSemaphore::unlink(nullptr);
}

TEST(NamedSemaphoreTest, PostAddsExactlyAsMany) {
  const Made made(OwnName(), 2);
  NamedSemaphore semaphore;
  ASSERT_EQ(semaphore.open(made.name.c_str()), 0u);
  EXPECT_EQ(semaphore.label(), BufferRef<unsigned char>("tstl_sem_semaphore_open"));
  for (const unsigned n : {3u, 0u}) {
    semaphore.post(n);
    semaphore.wait();
    EXPECT_EQ(Drain(semaphore), n == 3 ? 4 : 0);
    semaphore.post(1);
  }
  EXPECT_EQ(Drain(semaphore), 1);
}

TEST(NamedSemaphoreTest, CloseUnlinksTheLabelAndNotTheName) {
  const Made label(NamedSemaphore::kLabel, 1);
  const Made made(OwnName(), 1);
  NamedSemaphore semaphore;
  ASSERT_EQ(semaphore.open(made.name.c_str()), 0u);
  semaphore.close();
  EXPECT_EQ(semaphore.open(NamedSemaphore::kLabel), FAILURE);
  EXPECT_EQ(semaphore.open(made.name.c_str()), 0u);
}

// Each reads the number, lets the other run, and writes the next; a timer interrupts the waits.
TEST(NamedSemaphoreTest, ProcessesThatWaitOnItCountTogether) {
  constexpr int kRounds = 2000;
  const Made made(OwnName(), 1);
  const zenta::TempFolder folder;
  const int file = open(folder.Put("count", std::string(4, '\0')).c_str(), O_RDWR);
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
      int number = 0;
      if (pread(file, &number, sizeof number, 0) != sizeof number) return 1;
      sched_yield();
      if (pwrite(file, &++number, sizeof number, 0) != sizeof number) return 1;
      semaphore.post(1);
    }
    return 0;
  };
  Child one(count), other(count);
  EXPECT_EQ(one.Wait() + other.Wait(), 0);
  int number = 0;
  EXPECT_EQ(pread(file, &number, sizeof number, 0), ssize_t{sizeof number});
  EXPECT_EQ(number, 2 * kRounds);
  close(file);
}

TEST(DiagnosticTest, PrintsTheThreadBetweenWaitAndPost) {
  const Made made(kDiagnosticSemaphore, 0);
  NamedSemaphore semaphore;
  ASSERT_EQ(semaphore.open(made.name.c_str()), 0u);
  testing::internal::CaptureStdout();
  std::atomic<bool> printed = false;
  std::thread thread([&] { printed = print_thread_id() == 0; });
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  EXPECT_FALSE(printed);
  const auto id = (unsigned long long)(thread.native_handle());
  semaphore.post(1);
  thread.join();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "ThreadID: " + std::to_string(id) + "\n");
  EXPECT_EQ(Drain(semaphore), 1);
  NamedSemaphore::unlink(kDiagnosticSemaphore);
  testing::internal::CaptureStdout();
  EXPECT_EQ(print_thread_id(), 0u);  // without the semaphore, and without waiting
  EXPECT_EQ(testing::internal::GetCapturedStdout().find("ThreadID: "), 0u);
}

TEST(ConditionHolderTest, BroadcastWakesEveryWaitingThread) {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  ConditionHolder condition;
  condition.broadcast();
  condition.destroy();
  ASSERT_EQ(condition.create(&mutex), 0u);
  int waiting = 0;
  bool go = false;
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      pthread_mutex_lock(&mutex);
      ++waiting;
      while (!go) condition.wait();
      pthread_mutex_unlock(&mutex);
    });
  }
  for (bool all = false; !all;) {
    pthread_mutex_lock(&mutex);
    go = all = waiting == 3;
    pthread_mutex_unlock(&mutex);
  }
  condition.broadcast();
  for (std::thread& thread : threads) thread.join();
  condition.destroy();
  EXPECT_EQ(condition.condition(), nullptr);
}

}  // namespace
}  // namespace tstl
