// Moves values between the rows of a table and appends one to it and to another, in one transaction after the
// other, until it is killed. Says what it found first, then the number of each transaction that is done.
#include <cstdio>

#include "desktop/dbase/engine.h"

int main(int count, char** arguments) {
  if (count != 2) return 2;
  quarno::test::Engine engine(arguments[1]);
  engine.folder().set_patience_ms(5000);
  if (engine.folder().names().empty()) {
    engine.create("MOVED", {{"V", "INTEGER"}, {"NOTE", "LONGTEXT"}});
    engine.create("DONE", {{"N", "INTEGER"}});
    engine.run(
        "WITH s(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM s WHERE n < 400) "
        "INSERT INTO MOVED SELECT 100, NULL FROM s");
  }
  const std::string done = engine.run("SELECT count(*) FROM DONE");
  std::printf("%s %s %s\n",
              engine.run("SELECT count(*) || ' ' || CAST(sum(V) AS INTEGER) FROM MOVED").c_str(),
              done.c_str(),
              engine.run("SELECT count(*) FROM MOVED WHERE rowid > 400 AND NOTE = 'row ' || rowid").c_str());
  std::fflush(stdout);
  for (int i = std::stoi(done) + 1;; ++i) {
    const std::string number = std::to_string(i);
    std::string result;
    for (const std::string& statement :
         {std::string("BEGIN"),
          std::string("UPDATE MOVED SET V = V - 1 WHERE rowid % 2 = 0 AND rowid <= 400"),
          std::string("UPDATE MOVED SET V = V + 1 WHERE rowid % 2 = 1 AND rowid <= 400"),
          "INSERT INTO MOVED VALUES (0, 'row " + std::to_string(400 + i) + "')",
          "INSERT INTO DONE VALUES (" + number + ")", std::string("COMMIT")}) {
      result += engine.run(statement);
    }
    std::printf("%s %s\n", number.c_str(), result.c_str());
    std::fflush(stdout);
    if (!result.empty()) return 1;
  }
}
