// Saves that fail or are cut short leave the user's old file whole: a full folder (a file
// size limit, and a really full file system where this process may mount one), a
// read-only folder, and a process killed at any moment of a save. Every save runs in a
// child process, which reports what it raised through a pipe. POSIX only (fork, resource
// limits, signals): the Windows build leaves this file out.
#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/mount.h>
#endif

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/Fixtures.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/sor/CSORFile.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik::testing {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

// The child's report when it could not run the save (prepare refused): the reason follows.
constexpr int32_t kNotRun = -1;

std::shared_ptr<CTrace> TraceOf(int32_t samples, int32_t offset) {
  auto t = std::make_shared<CTrace>();
  t->SetTimeStamp(45000.5);  // fixed: a zero stamp takes the current time
  t->SetSamples(samples);
  std::vector<int32_t> values(static_cast<std::size_t>(samples));
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<int32_t>((i * 37 + 11) % 60000) + offset;
  t->SetDataPointArray(values);
  return t;
}

// Runs save in a forked child once prepare has agreed, and returns what it raised. The child
// reports through the pipe and leaves with _exit: no test assertion, no exit handlers.
Raised InChild(const std::function<bool(std::string&)>& prepare, const std::function<void()>& save) {
  int fds[2];
  if (pipe(fds) != 0) return {true, kNotRun, "", "pipe"};
  const pid_t pid = fork();
  if (pid < 0) {
    close(fds[0]);
    close(fds[1]);
    return {true, kNotRun, "", "fork"};
  }
  if (pid == 0) {
    close(fds[0]);
    std::string why, report;
    if (!prepare(why)) {
      report = std::to_string(kNotRun) + "\n\n" + why;
    } else {
      const Raised r = Capture(save);
      report = std::to_string(r.raised ? r.number : 0) + "\n" + r.source + "\n" + r.description;
    }
    [[maybe_unused]] const ssize_t written = write(fds[1], report.data(), report.size());
    _exit(0);
  }
  close(fds[1]);
  std::string report;
  char buffer[512];
  for (ssize_t got; (got = read(fds[0], buffer, sizeof buffer)) > 0;) {
    report.append(buffer, static_cast<std::size_t>(got));
  }
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  const std::size_t a = report.find('\n'), b = report.find('\n', a == std::string::npos ? a : a + 1);
  if (b == std::string::npos) return {true, kNotRun, "", "the child died: status " + std::to_string(status)};
  return {true, std::stoi(report.substr(0, a)), report.substr(a + 1, b - a - 1), report.substr(b + 1)};
}

// Removes the temporary files of saves in folder; returns how many there were.
int RemoveTemporaryFiles(const std::string& folder) {
  std::vector<fs::path> found;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().filename().string().find(".~tarnvik-") != std::string::npos) found.push_back(entry.path());
  }
  for (const auto& path : found) fs::remove(path);
  return static_cast<int>(found.size());
}

class SaveUnderFaults : public TempDirTest {
 protected:
  // One public way of saving, the source its failures carry and the extension it writes.
  struct Saver {
    std::string source, extension;
    std::function<void(const std::string& path)> save;
  };

  // The three public saves of a trace of this many samples, WriteTrace in the format
  // its extension names. A SOR file holds at most 16000 of them here (its data block's
  // size is a 16-bit count).
  std::vector<Saver> Savers(int32_t samples, int32_t offset = 0, const std::string& writeTraceExtension = "sor") {
    const auto trace = TraceOf(samples, offset);
    const auto sorTrace = TraceOf(std::min(samples, 16000), offset);
    ops_.WriteTrace(sorTrace, Path("made.sor"), 0, 1, 0, 0);
    auto sor = std::make_shared<CSORFile>();
    sor->LoadFromFile(Path("made.sor"));
    // A trace of its own: WriteTrace sets the versions it writes on the trace.
    const auto written = writeTraceExtension == "sor" ? sorTrace : TraceOf(samples, offset);
    return {{"CSORFile:SaveToFile()", "sor", [sor](const std::string& p) { sor->SaveToFile(p); }},
            {"CTrace:SaveToFile()", "trc", [trace](const std::string& p) { trace->SaveToFile(p); }},
            {"CFileOperations:WriteTrace()", writeTraceExtension,
             [this, written](const std::string& p) { ops_.WriteTrace(written, p, 0, 1, 0, 0); }}};
  }

  static std::string Target(const std::string& folder, std::size_t i, const Saver& s) {
    return folder + "/old" + std::to_string(i) + "." + s.extension;
  }

  // Puts an old file for each saver in folder; the fault comes after.
  void PlaceOldFiles(const std::string& folder, const std::vector<Saver>& savers) {
    for (std::size_t i = 0; i < savers.size(); ++i) {
      std::ofstream(Target(folder, i, savers[i]), std::ios::binary) << std::string(kOld.begin(), kOld.end());
    }
  }

  // Every save into folder, in a child that prepares first, fails with 75 and leaves the
  // old file as it was and no temporary file.
  void ExpectEverySaveFails(const std::string& folder, const std::vector<Saver>& savers,
                            const std::function<bool(std::string&)>& prepare) {
    for (std::size_t i = 0; i < savers.size(); ++i) {
      SCOPED_TRACE(savers[i].source);
      const std::string target = Target(folder, i, savers[i]);
      const Raised r = InChild(prepare, [&] { savers[i].save(target); });
      if (r.number == kNotRun && r.description.rfind("skip: ", 0) == 0) {
        GTEST_SKIP() << r.description;
      }
      EXPECT_EQ(r.number, 75) << r.description;
      EXPECT_EQ(r.source, savers[i].source);
      EXPECT_EQ(r.description, "Path/File access error");
      EXPECT_TRUE(ReadWholeFile(target) == kOld) << "the old file changed";
      EXPECT_EQ(RemoveTemporaryFiles(folder), 0);
    }
  }

  const Bytes kOld = Bytes(3000, 0x5A);
  CFileOperations ops_;
};

TEST_F(SaveUnderFaults, AFileSizeLimitFailsTheSave) {
  const std::string folder = Path("limited");
  fs::create_directory(folder);
  const auto savers = Savers(16000);  // files of 32 kB and more
  PlaceOldFiles(folder, savers);
  ExpectEverySaveFails(folder, savers, [](std::string& why) {
    const rlimit limit{8192, 8192};
    why = "setrlimit";
    return signal(SIGXFSZ, SIG_IGN) != SIG_ERR && setrlimit(RLIMIT_FSIZE, &limit) == 0;
  });
}

TEST_F(SaveUnderFaults, AFullFileSystemFailsTheSave) {
#if defined(__linux__)
  const std::string folder = Path("tmpfs");
  fs::create_directory(folder);
  if (mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=64k") != 0) {
    GTEST_SKIP() << "this process cannot mount a file system: " << std::strerror(errno);
  }
  struct Unmount {
    std::string folder;
    ~Unmount() {
      if (umount(folder.c_str()) != 0) umount2(folder.c_str(), MNT_DETACH);
    }
  } unmount{folder};
  const auto savers = Savers(2000);
  PlaceOldFiles(folder, savers);
  const int filler = open((folder + "/filler").c_str(), O_WRONLY | O_CREAT, 0644);
  ASSERT_GE(filler, 0);
  const Bytes block(4096, 0);
  while (write(filler, block.data(), block.size()) > 0) {
  }
  EXPECT_EQ(errno, ENOSPC);
  close(filler);
  ExpectEverySaveFails(folder, savers, [](std::string&) { return true; });
#else
  GTEST_SKIP() << "mounting a small file system is done on Linux only";
#endif
}

TEST_F(SaveUnderFaults, AReadOnlyFolderFailsTheSave) {
  const std::string folder = Path("read-only");
  fs::create_directory(folder);
  const auto savers = Savers(100);
  PlaceOldFiles(folder, savers);
  ASSERT_EQ(chmod(folder.c_str(), 0555), 0);
  struct Writable {
    std::string folder;
    ~Writable() { chmod(folder.c_str(), 0755); }
  } writable{folder};
  // The superuser passes over permissions: the child saves as nobody.
  ExpectEverySaveFails(folder, savers, [](std::string& why) {
    if (geteuid() != 0) return true;
    why = "skip: cannot save as an unprivileged user";
    return setgroups(0, nullptr) == 0 && setresgid(65534, 65534, 65534) == 0 && setresuid(65534, 65534, 65534) == 0;
  });
}

// A child saves two large files by turns, each over the other, and is killed at moments
// spread over two saves: the target is always one of the two, whole. Its temporary file
// may stay behind, as after any killed process. The trace's own format makes files of a
// MB or two here (WriteTrace writes it too); a SOR file stays below 33 kB.
TEST_F(SaveUnderFaults, AKilledSaveLeavesTheOldOrTheNewFileWhole) {
  const std::string folder = Path("killed");
  fs::create_directory(folder);
  const auto first = Savers(300000, 0, "trc"), second = Savers(300000, 1, "trc");
  std::vector<std::pair<Bytes, Bytes>> images;
  auto slowest = std::chrono::steady_clock::duration::zero();
  for (std::size_t s = 0; s < first.size(); ++s) {
    const auto start = std::chrono::steady_clock::now();
    first[s].save(Target(folder, s, first[s]));
    slowest = std::max(slowest, std::chrono::steady_clock::now() - start);
    const std::string other = Path("other." + first[s].extension);
    second[s].save(other);
    images.emplace_back(ReadWholeFile(Target(folder, s, first[s])), ReadWholeFile(other));
    ASSERT_TRUE(images.back().first != images.back().second);
  }
  constexpr int kKills = 40;
  int partial = 0, leftovers = 0;
  std::string firstPartial;
  for (int k = 0; k < kKills; ++k) {
    const std::size_t s = static_cast<std::size_t>(k) % first.size();
    const std::string target = Target(folder, s, first[s]);
    const pid_t pid = fork();
    if (pid == 0) {
      alarm(60);  // never outlives a test that stopped waiting for it
      for (unsigned i = 0;; ++i) {
        GuardedSwallow("test", "save", OnFailure::LogOnly, [&] { (i % 2 ? first : second)[s].save(target); });
      }
    }
    ASSERT_GT(pid, 0);
    std::this_thread::sleep_for(slowest * 2 * k / kKills);
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    leftovers += RemoveTemporaryFiles(folder);
    const Bytes now = ReadWholeFile(target);
    if (now == images[s].first || now == images[s].second) continue;
    if (partial++ == 0) firstPartial = "kill " + std::to_string(k) + ": " + std::to_string(now.size()) + " bytes";
  }
  EXPECT_EQ(partial, 0) << firstPartial << "; temporary files left by the kills: " << leftovers << " of " << kKills
                        << "; slowest save " << std::chrono::duration<double>(slowest).count() << " s";
}

}  // namespace
}  // namespace tarnvik::testing
