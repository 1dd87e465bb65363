/* One request of every method in each of the three ways, whatever platform the process has. */
#ifndef EXAMPLES_EVERY_METHOD_H
#define EXAMPLES_EVERY_METHOD_H

/*
 * Sends them, waits at most 20 seconds for the asynchronous calls to complete, and prints sizes and
 * statuses. Returns 0 when every call succeeded and completed, else 1.
 */
int sendEveryMethod(void);

#endif
