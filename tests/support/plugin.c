/* A shared object for the dynamic library tests to load and call. */
int plugin_scale(int x) { return 3 * x + 1; }
