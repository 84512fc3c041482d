/* Applications of a television of another make. */
#ifndef ORBIT_LIFECYCLE_H
#define ORBIT_LIFECYCLE_H

#ifdef __cplusplus
extern "C" {
#endif

enum orbit_event {
    ORBIT_STARTED,
    ORBIT_ENDED,
    ORBIT_TO_BACKGROUND,
    ORBIT_TO_FOREGROUND,
    ORBIT_FALLING_ASLEEP,
    ORBIT_ASLEEP,
    ORBIT_AWAKE,
    ORBIT_WAKING_UP
};

typedef struct orbit_app orbit_app;

/* `reason` counts for the last four events only. */
typedef void (*orbit_app_handler)(void* context, enum orbit_event event, const char* url, const char* detail,
                                  int reason);

/* Null if the launcher does not take it. The handler is called on the launcher's thread. */
orbit_app* orbit_app_attach(orbit_app_handler handler, void* context, const char* name);
/* Waits for a running handler, but in that handler. */
void orbit_app_detach(orbit_app* app);
void orbit_app_progress(orbit_app* app, int stage);

/* The launcher's side. */
int orbit_launcher_tell(const char* name, enum orbit_event event, const char* url, const char* detail,
                        int reason);                                   /* 0 if there is such an application */
int orbit_launcher_progress(const char* name, int* stages, int limit); /* how many were reported */

#ifdef __cplusplus
}
#endif

#endif
