// A log store as one would write it on a data base: takes text records from a socket, and inserts
// each in a transaction of its own.
#include <sqlite3.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <string>

namespace vesk::bench {
namespace {

volatile std::sig_atomic_t stopped = 0;

class database {
 public:
  explicit database(const std::string &path) { check(sqlite3_open(path.c_str(), &handle_)); }
  ~database() {
    sqlite3_finalize(insert_);
    sqlite3_close(handle_);
  }
  database(const database &) = delete;
  database &operator=(const database &) = delete;

  void prepare(bool flushed, const std::string &page_size) {
    execute(("PRAGMA page_size=" + page_size).c_str());
    execute("PRAGMA journal_mode=WAL");
    execute(flushed ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL");
    execute("CREATE TABLE IF NOT EXISTS log(id INTEGER PRIMARY KEY, micros INTEGER, text TEXT)");
    check(sqlite3_prepare_v2(handle_, "INSERT INTO log(micros, text) VALUES(?, ?)", -1, &insert_,
                             nullptr));
  }

  void insert(const char *text, int length) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    check(sqlite3_bind_int64(insert_, 1, now.tv_sec * 1'000'000LL + now.tv_nsec / 1000));
    check(sqlite3_bind_text(insert_, 2, text, length, SQLITE_STATIC));
    if (sqlite3_step(insert_) != SQLITE_DONE) fail();
    check(sqlite3_reset(insert_));
  }

 private:
  [[noreturn]] void fail() const { throw std::runtime_error(sqlite3_errmsg(handle_)); }

  void check(int status) const {
    if (status != SQLITE_OK) fail();
  }

  void execute(const char *sql) { check(sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr)); }

  sqlite3 *handle_ = nullptr;
  sqlite3_stmt *insert_ = nullptr;
};

int bind_socket(const std::string &path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  unlink(path.c_str());
  const int queue = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (bind(queue, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
    throw std::runtime_error("cannot bind " + path);
  }
  return queue;
}

void end_on_sigterm() {
  struct sigaction action {};  // without SA_RESTART: a receive that waits comes back
  action.sa_handler = [](int) { stopped = 1; };
  sigaction(SIGTERM, &action, nullptr);
}

void serve(const std::string &socket_path, const std::string &path, bool flushed,
           const std::string &page_size) {
  end_on_sigterm();
  database log(path);
  log.prepare(flushed, page_size);
  const int queue = bind_socket(socket_path);
  char text[65536];
  while (stopped == 0) {
    const ssize_t length = recv(queue, text, sizeof text, 0);
    if (length >= 0) log.insert(text, static_cast<int>(length));
  }
}

}  // namespace
}  // namespace vesk::bench

int main(int argc, char **argv) {
  CLI::App app("Stores datagrams in a data base, one transaction for each");
  std::string socket_path, path, page_size = "4096";
  bool flushed = false;
  app.add_option("socket", socket_path, "Where they arrive")->required();
  app.add_option("database", path, "Where they are stored")->required();
  app.add_flag("--flushed", flushed, "Each is on the device before the next is taken");
  app.add_option("--page-size", page_size, "Of a new data base, in bytes (default: 4096)");
  CLI11_PARSE(app, argc, argv);
  try {
    vesk::bench::serve(socket_path, path, flushed, page_size);
    return 0;
  } catch (const std::exception &error) {
    std::fprintf(stderr, "vesk_sqlite_store: %s\n", error.what());
    return 1;
  }
}
