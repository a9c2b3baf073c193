/*
 * Preloaded into sanitized programs under test: stays dumpable after the
 * change of identity. The sanitizers look into /proc/self as late as at their
 * first report, which a process that is not dumpable may not.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <sys/prctl.h>
#include <unistd.h>

int setuid(uid_t uid)
{
	int (*real_setuid)(uid_t) =
		__extension__(int (*)(uid_t)) dlsym(RTLD_NEXT, "setuid");
	int result = real_setuid(uid);

	if (result == 0)
		prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
	return result;
}
