/* The C interface of quorvin: an engine that runs the media-library plugin on one photo library.
 *
 * The embedder sends method calls as binary messages on the channel "quorvin" and gets each reply
 * as one binary message, both in the standard method codec:
 *
 *     QuorvinOptions options = {0};
 *     options.struct_size = sizeof options;
 *     options.library_path = "/home/me/Photos/library";
 *     options.authorization = -1;
 *     char *error = NULL;
 *     QuorvinEngine *engine = quorvin_engine_create(&options, &error);
 *     ...
 *     quorvin_engine_send(engine, "quorvin", message, size, on_reply, &answered);
 *     while (!answered) quorvin_engine_run(engine, -1);
 *     quorvin_engine_destroy(engine);
 *
 * Threads: the thread that creates an engine is its platform thread. Every other call on that
 * engine is made on it, and every callback comes on it, inside one of those calls. Only
 * quorvin_engine_fd may be called on any thread. Different engines may have different threads;
 * several may be open at once, in one process or in several, on the same library.
 *
 * Callbacks must return normally: no exception and no longjmp may leave them. They may call every
 * function of this header. */
#ifndef QUORVIN_QUORVIN_H_
#define QUORVIN_QUORVIN_H_

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define QUORVIN_API __attribute__((visibility("default")))
#else
#define QUORVIN_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct QuorvinEngine QuorvinEngine;

/* How to open an engine. Set every field: zero is a meaning of its own for `authorization`. Texts
 * are UTF-8, and are copied: they need not outlive the call they are given to. */
typedef struct QuorvinOptions {
  /* sizeof(QuorvinOptions). Later versions add fields at the end; those that a caller of an earlier
   * version does not have are taken as their default. */
  size_t struct_size;
  /* The folder of the photo library; a folder that is missing or empty becomes a new library, and
   * one that cannot be written to can be read all the same. NULL: the user's default library,
   * $XDG_DATA_HOME/quorvin/library or ~/.local/share/quorvin/library. */
  const char* library_path;
  /* The folder below which exported files are written. NULL: a private one of the user's. */
  const char* temporary_path;
  /* The text after "iOS " in the reply of getPlatformVersion. NULL: the system's own version. */
  const char* system_version;
  /* -1: the authorization status that the library stores. 0 (not determined), 1 (restricted),
   * 2 (denied), 3 (authorized), 4 (limited): this status, for this engine alone. */
  int32_t authorization;
  /* Asks the user for an authorization status and returns it; called on the platform thread, inside
   * quorvin_engine_run, when access is requested and none was decided yet. A value outside 0 to 4
   * leaves the status as it is. NULL: nobody is asked, and the status stays. */
  int32_t (*request_authorization)(void* user_data);
  /* Handed to request_authorization and confirm_deletion. */
  void* user_data;
  /* Asks the user whether `count` assets, at least one, may be deleted; called on the platform
   * thread, inside quorvin_engine_run, before a deletion. 0: they stay, and the call is answered
   * with an error. NULL: nobody is asked. Not in the first version of this struct. */
  int32_t (*confirm_deletion)(size_t count, void* user_data);
} QuorvinOptions;

/* Receives the reply to one message: success or error in the standard method codec. Size 0 (and
 * `message` NULL) means that nobody implements the method, that there is no such channel, that the
 * message was no well-formed call or was larger than 64 MiB, or that the engine ended before an
 * answer came. `message` is valid until the callback returns. */
typedef void (*QuorvinReplyCallback)(const uint8_t* message, size_t size, void* user_data);

/* The version of this interface: 1. Programs made for it work with every library that says 1. */
QUORVIN_API uint32_t quorvin_abi_version(void);

/* The version of the library, for example "0.1.0". Never freed. */
QUORVIN_API const char* quorvin_version(void);

/* Opens an engine. NULL on failure; then *error, when `error` is not NULL, is one sentence for a
 * person, to be freed with quorvin_free (NULL when memory ran out). On success *error is NULL. */
QUORVIN_API QuorvinEngine* quorvin_engine_create(const QuorvinOptions* options, char** error);

/* Ends the engine. Work that has not begun is dropped, work that has is cancelled or waited for.
 * Then every message that is still unanswered is answered with size 0, in the order of sending. On
 * return no callback runs or can run any more, and the engine is gone. NULL is nothing to end.
 *
 * Inside a callback of the same engine all of this holds but for that callback, which goes on; the
 * calls of `send` and `run` that led to it return as soon as it does. */
QUORVIN_API void quorvin_engine_destroy(QuorvinEngine* engine);

/* Sends one message. The plugin has been called when this returns. The reply comes once: before
 * this returns, or inside a later quorvin_engine_run, or, when the plugin gives none, inside
 * quorvin_engine_destroy. `message` is read before this returns and stays the caller's. `reply` may
 * be NULL. Without an engine or a channel (NULL) the reply is size 0, at once. */
QUORVIN_API void quorvin_engine_send(QuorvinEngine* engine, const char* channel,
                                     const uint8_t* message, size_t size,
                                     QuorvinReplyCallback reply, void* user_data);

/* Receives one message that the engine sends of its own. Of an event channel it is one event: a
 * success envelope of the standard method codec, or an error envelope when the events end by
 * themselves. `channel` and `message` are valid until the callback returns. */
typedef void (*QuorvinMessageCallback)(const char* channel, const uint8_t* message, size_t size,
                                       void* user_data);

/* Sets who receives what the engine sends of its own, in place of who did; NULL: nobody. The
 * callback comes inside quorvin_engine_run, on the platform thread, and not any more once this was
 * called with another one, or quorvin_engine_destroy. `user_data` stays the caller's until then. It
 * may be called inside a callback, that of a message included. Nothing for NULL as the engine.
 *
 * There is one such channel, the event channel "quorvin/changes". Send it the method call "listen",
 * with null as arguments, and it replies null; while it is listened to and somebody receives, each
 * commit on the library, by this engine or anybody else, leads to one event within half a second,
 * and makes quorvin_engine_fd readable. Commits close together share an event, as do all that are
 * made while an event waits for quorvin_engine_run. "cancel" ends it. What an event holds stands in
 * docs/methods.md. The library is watched by one thread and a few descriptors, which are there only
 * while it is listened to; when there are none to be had, "listen" replies an error. NULL suspends
 * this; with the next receiver it goes on, and tells what is committed from then on. */
QUORVIN_API void quorvin_engine_receive(QuorvinEngine* engine, QuorvinMessageCallback receive,
                                        void* user_data);

/* A descriptor for poll and event loops: readable while work waits for quorvin_engine_run. It stays
 * the engine's; it is neither read nor closed by the caller. -1 for NULL. */
QUORVIN_API int quorvin_engine_fd(const QuorvinEngine* engine);

/* Runs the work that waits for the platform thread and returns how many items ran. When none waits:
 * a timeout of 0 returns at once, a positive one (milliseconds) waits at most that long for an
 * item, a negative one waits until there was one. Work that is added by what runs here is left to
 * the next call. May be called inside a callback. 0 for NULL. */
QUORVIN_API size_t quorvin_engine_run(QuorvinEngine* engine, int timeout_ms);

/* Frees what this library gave to be freed. NULL is nothing to free. */
QUORVIN_API void quorvin_free(void* memory);

#ifdef __cplusplus
}
#endif

#endif /* QUORVIN_QUORVIN_H_ */
