/* Linked into sanitizer test programs only: libraries stay loaded until exit, so leak reports
 * inside them keep their symbols and the suppression list can name them. */
int dlclose(void* handle) {
    (void)handle;
    return 0;
}
