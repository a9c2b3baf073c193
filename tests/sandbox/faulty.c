/*
 * The harness's own stand-in for the daemon: changes its identity when asked
 * to, does what the other arguments say, and ends on SIGTERM. Its faults prove
 * that the harness notices a fault.
 */
#define _GNU_SOURCE
#include <glib.h>
#include <grp.h>
#include <limits.h>
#include <pthread.h>
#include <pwd.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static void *volatile pointer;
static volatile int number = INT_MAX;
static int shared;

static void drop(void)
{
	const struct passwd *user = getpwnam("qel");

	if (user == NULL || setgid(user->pw_gid) != 0 ||
	    initgroups(user->pw_name, user->pw_gid) != 0 ||
	    setuid(user->pw_uid) != 0)
		abort();
}

static void leak(void)
{
	pointer = malloc(10);
	pointer = NULL;
}

static void overflow(void)
{
	pointer = malloc(10);
	((volatile char *)pointer)[10] = 1;
	free(pointer);
}

static void use_after_free(void)
{
	pointer = malloc(10);
	free(pointer);
	*(volatile char *)pointer = 1;
}

static void undefined(void)
{
	number = number + 1;
}

static void *add(void *unused)
{
	(void)unused;
	shared++;
	return NULL;
}

static void race(void)
{
	pthread_t thread;

	if (pthread_create(&thread, NULL, add, NULL) != 0)
		abort();
	shared++;
	pthread_join(thread, NULL);
}

static gpointer add_repeatedly(gpointer unused)
{
	for (int i = 0; i < 1000; i++) {
		shared++;
		g_thread_yield();
	}
	return unused;
}

static gboolean add_in_main_loop(gpointer remaining)
{
	shared++;
	return --*(int *)remaining > 0;
}

/* As the daemon's own threads would: one that GLib starts, and a source that
 * the main loop dispatches. */
static void glib_race(void)
{
	int remaining = 1000;
	GThread *thread = g_thread_new("race", add_repeatedly, NULL);

	g_idle_add(add_in_main_loop, &remaining);
	while (remaining > 0)
		g_main_context_iteration(NULL, TRUE);
	g_thread_join(thread);
}

static void assertion(void)
{
	puts("CRITICAL g_object_unref: assertion 'object != NULL' failed");
}

static void fail(void)
{
	exit(3);
}

static void crash(void)
{
	abort();
}

/* Alternating streams, to see whether their order survives. */
static void interleave(void)
{
	for (int i = 0; i < 20; i++) {
		dprintf(STDOUT_FILENO, "out %d\n", i);
		dprintf(STDERR_FILENO, "err %d\n", i);
	}
}

static const struct {
	const char *name;
	void (*act)(void);
} acts[] = {
	{"drop", drop},
	{"leak", leak},
	{"overflow", overflow},
	{"use-after-free", use_after_free},
	{"undefined", undefined},
	{"race", race},
	{"glib-race", glib_race},
	{"assertion", assertion},
	{"fail", fail},
	{"crash", crash},
	{"interleave", interleave},
};

int main(int argc, char **argv)
{
	sigset_t term;
	int signal_number;

	sigemptyset(&term);
	sigaddset(&term, SIGTERM);
	sigprocmask(SIG_BLOCK, &term, NULL);
	for (int i = 1; i < argc; i++)
		for (size_t a = 0; a < sizeof(acts) / sizeof(acts[0]); a++)
			if (strcmp(argv[i], acts[a].name) == 0)
				acts[a].act();
	puts("ready");
	fflush(stdout);
	return sigwait(&term, &signal_number);
}
