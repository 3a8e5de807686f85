// A client of Loki that links nothing but the library. With an argument, Loki's assertions must be
// on.

#include <loki/Singleton.h>
#include <loki/SmallObj.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

struct Point : Loki::SmallObject<> {
    int x = 1, y = 2;
};

int main(int argc, char**) {
    // Nothing is tracked yet, so an exit handler that runs all the same is stopped by an assertion.
    if (argc > 1 && fork() == 0) {
        close(STDERR_FILENO);
        Loki::Private::AtExitFn();
        _exit(0);
    }
    int status = SIGABRT;
    if (argc > 1) wait(&status);
    if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGABRT) return 1;

    int sum = 0;
    Point* points[1000];
    for (Point*& point : points) point = new Point;
    for (const Point* point : points) {
        sum += point->x + point->y;
        delete point;
    }
    return sum == 3000 ? 0 : 2;
}
