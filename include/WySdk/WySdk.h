/*
 * WySdk.h: the interface of WySdk.dll, version 3.1.
 *
 * The library is the client side of the PC optimisation service: an application scans the machine
 * through it, repairs what was found, looks for big and duplicate files, reads measurements,
 * publishes events and sets options. Strict C99 and C++; undecorated names; __stdcall on 32-bit
 * Windows.
 *
 * Vocabulary
 *   service       the process that does the work; each function asks it once and waits for the
 *                 answer, without a time limit. Long work is started by one function, followed by
 *                 polling another, and fetched by a third.
 *   session       the registration of this process at the service, between WyInitialize and
 *                 WyUninitialize. Only the delivery of events needs one; every other function
 *                 works without.
 *   scan          a run of the scan in the service; it has a name, a text, which the functions
 *                 call sessionId.
 *   item list     a text with names separated by commas. Blanks around a name do not count, an
 *                 empty name does: the empty text is a list of one empty name.
 *   JSON text     wide text that holds a JSON value. An argument that is no JSON is sent as null.
 *
 * Text
 *   wchar_t is UTF-16. Input texts end in a NUL and stay the application's. Where JSON carries an
 *   unpaired surrogate or malformed UTF-8, U+FFFD takes its place.
 *
 * Output texts and who frees them
 *   An output text is a `wchar_t**`. On success it receives a text of exactly the length needed,
 *   or NULL when the service's text is empty. The application owns it and releases it with
 *   LocalFree (WyFree below). A NULL `wchar_t**` is allowed and means: not wanted. Set the
 *   variable to NULL before the call: a call that fails before the answer does not touch it.
 *
 * Output numbers
 *   A NULL pointer for a number fails with WY_E_INVALID_ARGUMENT, but only when the service has
 *   acted already; numbers and texts before it in the argument list have then been written. A
 *   number that the answer lacks is written as 0.
 *
 * Results
 *   Every function returns a result code, see below. A NULL input text or JSON text fails with
 *   WY_E_INVALID_ARGUMENT before anything is sent, except where a function says otherwise.
 *   A failure of the road to the service (WY_E_REMOTE_FAMILY and the like) leaves all outputs
 *   untouched. A failure that the service itself reports is returned as it is, and the outputs
 *   have been written then: with what the answer holds, else with 0 and NULL.
 *
 * Threads
 *   All functions may be called from any thread at any time, with these exceptions: WyInitialize
 *   and WyUninitialize must not run at the same time as each other or as themselves, nor from
 *   DllMain. The library starts no thread before WyInitialize, and never lets an exception out.
 *
 * The meaning of items, units, scales, states and JSON contents is the service's; the library
 * passes them on as they are.
 *
 * An application that opens a session and reads the processor load:
 *
 *     uint32_t load = 0;
 *     uint32_t code = WyInitialize(L"MyApplication");
 *     if (WY_SUCCEEDED(code)) {
 *         code = WyGetSysCpuUsage(&load);
 *         WyUninitialize();
 *     }
 */
#ifndef WYSDK_WYSDK_H
#define WYSDK_WYSDK_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

/* The calling convention of all functions. */
#if defined(_WIN32) && !defined(_WIN64)
#define WYAPI __stdcall
#else
#define WYAPI
#endif

/* The version of the interface that this header describes. */
#define WYSDK_VERSION_MAJOR 3
#define WYSDK_VERSION_MINOR 1

/*
 * Result codes.
 *
 * A code is 32 bits wide and judged by its sign as a signed number: not negative is success. A
 * service may return other codes than these, on success too; test with the two macros, and do not
 * compare with WY_S_OK.
 */
#define WY_SUCCEEDED(code) ((uint32_t)(code) < 0x80000000u)
#define WY_FAILED(code) (!WY_SUCCEEDED(code))

#define WY_S_OK 0x20ff0000u                  /* Success. */
#define WY_E_FAILURE 0xe0ff0001u             /* General failure. */
#define WY_E_BAD_PATH 0xe0ff0002u            /* A path argument does not exist. */
#define WY_E_NO_CALLBACK_SERVER 0xe0ff0003u  /* The endpoint for events could not be made. */
#define WY_E_NO_UUID 0xe0ff0004u             /* No unique identifier could be made. */
#define WY_E_INVALID_ARGUMENT 0xe0ff0007u    /* Bad argument, or a field missing in an answer. */
#define WY_E_EMPTY_FOLDER 0xe0ff0008u        /* An install or package folder is empty. */
#define WY_E_MALFORMED_REPLY 0xe0ff0009u     /* The reply of the service cannot be read. */
#define WY_E_ALREADY_INITIALIZED 0xe0ff000au /* Initialized or registered already. */
#define WY_E_NO_EVENT_CALLBACK 0xe0ff000bu   /* An event came while nobody takes events. */
#define WY_E_SETTINGS_NOT_STORED 0xe0ff000cu /* Settings could not be stored. */
#define WY_E_NOT_FOUND 0xe0ff000eu           /* Not found. */
#define WY_E_LOG_SETTINGS_NOT_CHANGED 0xe0ff0013u  /* The log's settings could not be changed. */
#define WY_E_BUFFER_IS_NULL 0xe0ff0014u            /* No buffer was given; the size is returned. */
#define WY_E_RECORD_GOING_AWAY 0xe0ff0015u         /* The record of a command is being removed. */
#define WY_E_RECORD_IN_USE 0xe0ff0016u             /* The record of a command is in use. */
#define WY_E_UNKNOWN_TRACKING_ID 0xe0ff0018u       /* No command is known by this identifier. */
#define WY_E_TRACKING_ID_EXISTS 0xe0ff001cu        /* A command is known by this identifier. */
#define WY_E_OUT_OF_MEMORY 0xe0ff001eu             /* Out of memory. */
#define WY_E_WRONG_CONTEXT_KIND 0xe0ff001fu        /* A context is of another kind. */
#define WY_E_SHORTCUTS_NOT_REMOVED 0xe00e0001u     /* Shortcuts could not be removed. */
#define WY_E_SHORTCUTS_NOT_CREATED 0xe00e0002u     /* Shortcuts could not be made. */
#define WY_E_PROCESSES_NOT_STOPPED 0xe00e0003u     /* The product's processes could not be ended. */
#define WY_E_AUTORUN_NOT_WRITTEN 0xe00e0004u       /* The autorun value could not be written. */
#define WY_E_AUTORUN_NOT_REMOVED 0xe00e0005u       /* The autorun value could not be removed. */
#define WY_E_REBOOT_PENDING 0xe00e000au            /* A restart is pending since a removal. */
#define WY_E_LATER_VERSION_INSTALLED 0xe00e000cu   /* A later version is installed. */
#define WY_E_RUNTIME_NOT_INSTALLED 0xe00e000du     /* The runtime libraries were not installed. */
#define WY_E_SESSION_AGENT_NOT_STARTED 0xe00e0010u /* The session agent could not be started. */
#define WY_E_ACCESS_DENIED 0xe00e0011u             /* Install folder or product key is refused. */
#define WY_E_SYSTEM_REFUSED 0xe00e0012u            /* The package does not accept this system. */
#define WY_E_PACKAGE_NOT_READ 0xe00e0013u          /* Setup.ini or InstCfg.xml cannot be read. */
#define WY_E_MANIFEST_NOT_CARRIED_OUT 0xe00e0014u  /* An item of InstCfg.xml failed. */
#define WY_E_KEYS_NOT_REMOVED 0xe00e0016u          /* The product's keys could not be removed. */
#define WY_E_FOLDER_NOT_RENAMED 0xe00e0018u        /* Install or backup folder was not renamed. */
#define WY_E_UNKNOWN_CLIENT 0xe0010803u            /* The service does not know this process. */

/*
 * Families of codes. The low 16 bits of a member are the error of a system call, or of the RPC
 * runtime or the remote side: WY_E_REMOTE_FAMILY with 1722 (0xe00106ba) means that no service
 * listens.
 */
#define WY_E_SYSTEM_FAMILY 0xe0fe0000u
#define WY_E_REMOTE_FAMILY 0xe0010000u
#define WY_IS_SYSTEM_ERROR(code) (((uint32_t)(code)&0xffff0000u) == WY_E_SYSTEM_FAMILY)
#define WY_IS_REMOTE_ERROR(code) (((uint32_t)(code)&0xffff0000u) == WY_E_REMOTE_FAMILY)
#define WY_ERROR_OF(code) ((uint32_t)(code)&0xffffu)

/* Releases an output text (LocalFree); NULL is allowed. Needs <windows.h>. */
#define WyFree(text) ((void)LocalFree((HLOCAL)(text)))

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------------------------
 * Session
 */

/*
 * Opens the session: registers this process at the service for the delivery of events.
 *
 * Starts one thread, which registers the process again whenever the service was restarted. A call
 * with an open session succeeds and does nothing, its argument is ignored. After a failure there is
 * no session, and the call may be repeated.
 *
 *   productId   the name under which the process wants to be known; neither NULL nor empty
 *
 * Returns WY_S_OK or another code of the service; WY_E_INVALID_ARGUMENT for a NULL or empty name,
 * WY_E_OUT_OF_MEMORY, or the code of the failed registration.
 * Since 3.1.
 */
uint32_t WYAPI WyInitialize(const wchar_t* productId);

/*
 * Closes the session.
 *
 * Takes all event subscriptions back and ends the registration. Whatever the service answers,
 * there is no session afterwards. Without a session it succeeds. Call it before the library is
 * unloaded: unloading does not close a session.
 *
 * Returns WY_S_OK, or the code of the failed end of the registration; the code of a subscription
 * that could not be taken back plays no part.
 * Since 3.1.
 */
uint32_t WYAPI WyUninitialize(void);

/* ---------------------------------------------------------------------------------------------
 * Events
 *
 * The service reports things to a process by events: numbers whose meaning is the service's, each
 * with a JSON object. A process with a session subscribes to the numbers that it wants, and the
 * library calls its function for each event that comes.
 *
 * Two rules that an application has to keep, since no code checks them:
 *   - One callback at a time runs, on a thread of the library's callback endpoint. While it runs,
 *     every other event and every subscription of this process waits. A callback should note what
 *     came and return; WySdk.hpp has a queue for it.
 *   - A callback must not call WySubscribeEvent or WyUnsubscribeEvent, nor WyUninitialize, which
 *     takes subscriptions back, nor WySetProxy, WyStartService or WyStopService: they would wait
 *     for ever for the lock that the callback runs under. All other functions of this header may
 *     be called.
 *
 * A subscription lives as long as the session and the service do. When the service has been
 * restarted the library registers the process again, but it does not subscribe anew: the
 * application does, or lets the queue of WySdk.hpp do it.
 */

/*
 * The application's function for one event.
 *
 *   eventId   the event
 *   event     the event as JSON text, with the member "eventId" in it; the library's, valid until
 *             the function returns
 *
 * Returns a result code, which the service is told as the fate of its report. A negative code has
 * no further effect: later events are delivered. Must not raise a C++ exception. Runs on a thread
 * of the library.
 */
typedef uint32_t(WYAPI* WyEventCallback)(uint32_t eventId, const wchar_t* event);

/*
 * Subscribes to an event.
 *
 * There is one callback for each event; a second subscription replaces it, and tells the service
 * again. Without a session the service is told, but has nowhere to deliver to.
 *
 *   eventId    the event
 *   callback   the function to call. It is not looked at here: with NULL the subscription stands
 *              and each event fails at its delivery
 *
 * Returns WY_S_OK, or the code of the failure, and then the subscriptions are as before.
 * Waits for a callback that is running; must not be called from one.
 * Since 3.1.
 */
uint32_t WYAPI WySubscribeEvent(uint32_t eventId, WyEventCallback callback);

/*
 * Takes a subscription back. After success the callback does not run for this event any more, and
 * is not running.
 *
 *   eventId   the event; one without a subscription is no failure
 *
 * Returns WY_S_OK, or the code of the failure, and then the subscription stands.
 * Waits for a callback that is running; must not be called from one.
 * Since 3.1.
 */
uint32_t WYAPI WyUnsubscribeEvent(uint32_t eventId);

/*
 * Publishes an event without a parameter to the service.
 *
 *   eventId   the event
 *
 * Since 3.1.
 */
uint32_t WYAPI WyPublishEvent(uint32_t eventId);

/*
 * Publishes an event with a parameter to the service.
 *
 *   eventId   the event
 *   param     its parameter, JSON text; not NULL
 *
 * Returns WY_E_INVALID_ARGUMENT for a NULL parameter; nothing is then sent.
 * Since 3.1.
 */
uint32_t WYAPI WyPublishEventEx(uint32_t eventId, const wchar_t* param);

/* ---------------------------------------------------------------------------------------------
 * Scan
 *
 * A scan is started by WyScan, followed by WyGetScanProgress, and its findings are fetched by
 * WyGetScanResult:
 *
 *     wchar_t* scan = NULL;
 *     uint32_t code = WyScan(0, L"DiskGarbage,Registry", &scan);
 *     for (uint32_t progress = 0; WY_SUCCEEDED(code) && progress < 100; Sleep(200)) {
 *         code = WyGetScanProgress(scan, &progress, NULL, NULL);
 *     }
 *     wchar_t* findings = NULL;
 *     if (WY_SUCCEEDED(code)) code = WyGetScanResult(scan, L"DiskGarbage", &findings);
 *     WyFree(findings);
 *     WyFree(scan);
 *
 * (Names of items and the value of progress at the end are the service's; those of the example
 * stand for them.)
 */

/*
 * Starts a scan.
 *
 *   activeSessionId   a number that is passed on to the service
 *   items             item list: what to scan; not NULL
 *   sessionId         receives the name of the scan, the handle for all later calls
 *
 * Since 3.1.
 */
uint32_t WYAPI WyScan(uint32_t activeSessionId, const wchar_t* items, wchar_t** sessionId);

/*
 * Holds a scan until WyResumeScan.
 *
 *   sessionId   the scan; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyPauseScan(const wchar_t* sessionId);

/*
 * Lets a scan go on that WyPauseScan holds.
 *
 *   sessionId   the scan; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyResumeScan(const wchar_t* sessionId);

/*
 * Ends a scan before it is complete.
 *
 *   sessionId   the scan; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyCancelScan(const wchar_t* sessionId);

/*
 * Tells how far a scan has got.
 *
 *   sessionId   the scan; not NULL
 *   progress    receives the progress; not NULL
 *   feature     receives the part of the scan that is at work
 *   object      receives the object at hand
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetScanProgress(const wchar_t* sessionId, uint32_t* progress, wchar_t** feature,
                                 wchar_t** object);

/*
 * Fetches the findings of a scan.
 *
 *   sessionId   the scan; not NULL
 *   items       item list: whose findings are wanted; not NULL
 *   result      receives the findings as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetScanResult(const wchar_t* sessionId, const wchar_t* items, wchar_t** result);

/* ---------------------------------------------------------------------------------------------
 * Repair
 *
 * The second version names each repair, so that a scan can have several; new applications use it.
 */

/*
 * Starts a repair of what was selected from the findings of a scan, first version.
 *
 *   sessionId   the scan; not NULL
 *   data        the selection, JSON text; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyCustomizeFix(const wchar_t* sessionId, const wchar_t* data);

/*
 * Tells how far a repair of the first version has got.
 *
 *   sessionId   the scan; not NULL
 *   progress    receives the progress; not NULL
 *   feature     receives the part of the repair that is at work
 *   object      receives the object at hand
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetFixProgress(const wchar_t* sessionId, uint32_t* progress, wchar_t** feature,
                                wchar_t** object);

/*
 * Fetches the report of a repair of the first version.
 *
 *   sessionId   the scan; not NULL
 *   items       item list: whose report is wanted; not NULL
 *   result      receives the report as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetFixResult(const wchar_t* sessionId, const wchar_t* items, wchar_t** result);

/*
 * Accepts and ignores its argument; returns what the service answers to API 420000000.
 *
 * It does not cancel a repair: the scan's name never reaches the service. Use the second version of
 * the repair and WyCancelFixV2.
 *
 *   sessionId   ignored; may be NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyCancelWyFix(const wchar_t* sessionId);

/*
 * Starts a repair of what was selected from the findings of a scan, second version.
 *
 *   sessionId      the scan; not NULL
 *   data           the selection, JSON text; not NULL
 *   fixSessionId   receives the name of the repair, the handle for all later calls
 *
 * Since 3.1.
 */
uint32_t WYAPI WyCustomizeFixV2(const wchar_t* sessionId, const wchar_t* data,
                                wchar_t** fixSessionId);

/*
 * Tells how far a repair has got.
 *
 *   sessionId      the scan; not NULL
 *   fixSessionId   the repair; not NULL
 *   progress       receives the progress; not NULL
 *   feature        receives the part of the repair that is at work
 *   object         receives the object at hand
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetFixProgressV2(const wchar_t* sessionId, const wchar_t* fixSessionId,
                                  uint32_t* progress, wchar_t** feature, wchar_t** object);

/*
 * Fetches the report of a repair.
 *
 *   sessionId      the scan; not NULL
 *   fixSessionId   the repair; not NULL
 *   result         receives the report as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetFixResultV2(const wchar_t* sessionId, const wchar_t* fixSessionId,
                                wchar_t** result);

/*
 * Ends a repair before it is complete.
 *
 *   sessionId      the scan; not NULL
 *   fixSessionId   the repair; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyCancelFixV2(const wchar_t* sessionId, const wchar_t* fixSessionId);

/* ---------------------------------------------------------------------------------------------
 * Single topics of a scan
 */

/*
 * Sets the start state of the services selected from a scan.
 *
 *   sessionId   the scan; not NULL
 *   data        the selection, JSON text; not NULL
 *   status      the new state
 *   result      receives the report as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WySetStartupServiceStatus(const wchar_t* sessionId, const wchar_t* data,
                                         uint32_t status, wchar_t** result);

/*
 * Sets the start state of the programs selected from a scan.
 *
 *   sessionId   the scan; not NULL
 *   data        the selection, JSON text; not NULL
 *   status      the new state
 *   result      receives the report as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WySetStartupProgramStatus(const wchar_t* sessionId, const wchar_t* data,
                                         uint32_t status, wchar_t** result);

/*
 * The functions from here to the end of this section do nothing but ask.
 *
 * Each accepts and ignores its arguments, which may all be NULL, writes nothing through its output
 * pointers, and returns what the service answers to API 420000000, asked with an empty object. They
 * stand here so that applications that were linked against them still load; the findings of these
 * topics come with WyGetScanResult, and repairs go through WyCustomizeFixV2.
 */

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WyGetDiskGarbage(const wchar_t* sessionId, const wchar_t* items, wchar_t** result);

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WyRemoveDiskGarbage(const wchar_t* sessionId, const wchar_t* items,
                                   wchar_t** result);

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WyGetRegGarbage(const wchar_t* sessionId, const wchar_t* items, wchar_t** result);

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WyRemoveRegGarbage(const wchar_t* sessionId, const wchar_t* items, wchar_t** result);

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WyGetStartupService(const wchar_t* sessionId, wchar_t** result);

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WyGetStartupProgram(const wchar_t* sessionId, wchar_t** result);

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WyGetInstalledProgram(const wchar_t* sessionId, wchar_t** result);

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WyUninstallProgram(const wchar_t* sessionId, const wchar_t* data);

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WyGetPrivacy(const wchar_t* sessionId, wchar_t** result);

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WyFixPrivacy(const wchar_t* sessionId, const wchar_t* data, wchar_t** result);

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WyGetVulnerability(const wchar_t* sessionId, wchar_t** result);

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WyFixVulnerability(const wchar_t* sessionId, const wchar_t* data, wchar_t** result);

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WyGetAddon(const wchar_t* sessionId, wchar_t** result);

/* Accepts and ignores its arguments; returns what the service answers to API 420000000. Since 3.1.
 */
uint32_t WYAPI WySetAddonStatus(const wchar_t* sessionId, const wchar_t* data, uint32_t status);

/* ---------------------------------------------------------------------------------------------
 * File searches
 *
 * Three families, each with one search in the service at a time: start it, poll its progress,
 * fetch its result. A search has no name.
 */

/*
 * Starts the search for big files.
 *
 *   diskDrive   where to search; not NULL
 *   category    what to search for; not NULL
 *   fileSize    the file size to filter by; 0 is allowed
 *
 * Since 3.1.
 */
uint32_t WYAPI WyScanBigFile(const wchar_t* diskDrive, const wchar_t* category, uint64_t fileSize);

/*
 * Tells how far the search for big files has got.
 *
 *   progress   receives the progress; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetBigFileProgress(uint32_t* progress);

/*
 * Fetches what the search for big files has found.
 *
 *   highBound   the high bound of the result
 *   result      receives the files as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetBigFileResult(uint32_t highBound, wchar_t** result);

/*
 * Removes files that the search for big files has found.
 *
 *   data     the selection, JSON text; not NULL
 *   result   receives the report as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WyRemoveBigFile(const wchar_t* data, wchar_t** result);

/* Ends the search for big files. Since 3.1. */
uint32_t WYAPI WyCancelBigFileScan(void);

/*
 * Starts the search for duplicate files.
 *
 *   diskDrive   where to search; not NULL
 *   category    what to search for; not NULL
 *   fileSize    the file size to filter by; 0 is allowed
 *
 * Since 3.1.
 */
uint32_t WYAPI WyScanDupFile(const wchar_t* diskDrive, const wchar_t* category, uint64_t fileSize);

/*
 * Tells how far the search for duplicate files has got.
 *
 *   progress   receives the progress; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetDupFileProgress(uint32_t* progress);

/*
 * Fetches what the search for duplicate files has found.
 *
 *   result   receives the files as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetDupFileResult(wchar_t** result);

/*
 * Removes files that the search for duplicate files has found.
 *
 *   data     the selection, JSON text; not NULL
 *   result   receives the report as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WyRemoveDupFile(const wchar_t* data, wchar_t** result);

/* Ends the search for duplicate files. Since 3.1. */
uint32_t WYAPI WyCancelDupFileScan(void);

/*
 * Starts the measurement of disk usage.
 *
 *   diskDrive   what to measure; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyScanDiskUsage(const wchar_t* diskDrive);

/*
 * Tells how far the measurement of disk usage has got.
 *
 *   progress   receives the progress; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetDiskUsageProgress(uint32_t* progress);

/*
 * Fetches the disk usage that was measured.
 *
 *   result   receives it as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetDiskUsageResult(wchar_t** result);

/* Ends the measurement of disk usage. Since 3.1. */
uint32_t WYAPI WyCancelDiskUsageScan(void);

/* ---------------------------------------------------------------------------------------------
 * Measurements and facts
 *
 * Units and scales are the service's.
 */

/*
 * Reads the time of the last start-up of the machine.
 *
 *   bootupTime   receives the time; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetSysBootupTime(uint32_t* bootupTime);

/*
 * Reads the state of the battery.
 *
 *   result   receives it as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetBatteryUsage(wchar_t** result);

/*
 * Reads the processor load.
 *
 *   cpuUsage   receives the load; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetSysCpuUsage(uint32_t* cpuUsage);

/*
 * Reads the state of the memory.
 *
 *   memUsage   receives the memory in use; not NULL
 *   memAvail   receives the memory available; not NULL
 *   memTotal   receives the memory in total; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetSysMemUsage(uint64_t* memUsage, uint64_t* memAvail, uint64_t* memTotal);

/*
 * Reads the load of the disks.
 *
 *   diskReadUsage    receives the load of reading; not NULL
 *   diskWriteUsage   receives the load of writing; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetSysDiskUsage(uint64_t* diskReadUsage, uint64_t* diskWriteUsage);

/*
 * Reads the load of the network.
 *
 *   pcRecvFlowUsed   receives the volume received; not NULL
 *   pcRecvSpeed      receives the speed of receiving; not NULL
 *   pcSendFlowUsed   receives the volume sent; not NULL
 *   pcSendSpeed      receives the speed of sending; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetSysNetworkUsage(uint64_t* pcRecvFlowUsed, uint64_t* pcRecvSpeed,
                                    uint64_t* pcSendFlowUsed, uint64_t* pcSendSpeed);

/*
 * Reads which processes run.
 *
 *   result   receives them as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetProcessInfo(wchar_t** result);

/*
 * Tells whether the machine is idle.
 *
 *   idleStatus   receives the state; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetIdleStatus(uint32_t* idleStatus);

/*
 * Looks for a time frame in which the machine was idle.
 *
 *   duration    the length of idle time wanted
 *   period      the span to look in
 *   timestamp   receives the start of the time frame; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetIdleTimeframe(uint32_t duration, uint32_t period, uint64_t* timestamp);

/*
 * Tells whether an application or module of the product runs.
 *
 *   moduleName         which one; not NULL
 *   isProcessRunning   receives the answer; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetAppStatus(const wchar_t* moduleName, uint32_t* isProcessRunning);

/*
 * Ends an application of the product.
 *
 *   moduleName   which one; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyForceKillApp(const wchar_t* moduleName);

/*
 * Reads the lock state of the service.
 *
 *   lockStatus   receives the state; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetLockStatus(uint32_t* lockStatus);

/*
 * Reads the process identifier of the service.
 *
 *   currentPid   receives it; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetSvchostPid(uint32_t* currentPid);

/* ---------------------------------------------------------------------------------------------
 * Comparison data
 */

/*
 * Fetches comparison data about the startup programs of a scan.
 *
 *   sessionId   the scan; not NULL
 *   result      receives the data as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetCloudDataStartupApp(const wchar_t* sessionId, wchar_t** result);

/*
 * Fetches comparison data about the startup services of a scan.
 *
 *   sessionId   the scan; not NULL
 *   result      receives the data as JSON text
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetCloudDataStartupSvc(const wchar_t* sessionId, wchar_t** result);

/*
 * Ranks a start-up time among those of other machines.
 *
 *   bootupTime   the time to rank, as WyGetSysBootupTime gives it
 *   percentage   receives the rank; not NULL
 *   threshold    receives the limit of the comparison; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WyGetCloudDataBootupRanking(uint32_t bootupTime, uint32_t* percentage,
                                           uint32_t* threshold);

/* ---------------------------------------------------------------------------------------------
 * Settings
 */

/*
 * Sets for how long cached data are valid.
 *
 *   validityPeriod   the time
 *
 * Since 3.1.
 */
uint32_t WYAPI WySetCacheValidityTimeout(uint32_t validityPeriod);

/*
 * Sets when the scheduled scan starts: always at a full hour. There is one schedule.
 *
 *   dayOfWeek   the day, as the service counts
 *   hour        the hour
 *
 * Since 3.1.
 */
uint32_t WYAPI WySetScheduleScanTime(uint8_t dayOfWeek, uint8_t hour);

/*
 * Sets the state of the cloud broker, through which comparison data come.
 *
 *   status   the new state
 *
 * Since 3.1.
 */
uint32_t WYAPI WySetCloudBrokerStatus(uint32_t status);

/*
 * Sets the language of the product.
 *
 *   productLcid   the locale identifier
 *
 * Since 3.1.
 */
uint32_t WYAPI WySetProductLcid(uint32_t productLcid);

/*
 * Sets the addresses of two servers.
 *
 *   feedbackServerUrl   the address of the feedback server; not NULL
 *   reamerServerUrl     the address of the reamer server; not NULL
 *
 * Since 3.1.
 */
uint32_t WYAPI WySetInspectUrl(const wchar_t* feedbackServerUrl, const wchar_t* reamerServerUrl);

/* ---------------------------------------------------------------------------------------------
 * Settings of the machine
 *
 * These functions write the registry and files of this machine from the calling process, which
 * needs the right to do so, and work without the service; WySetReamerStatus tells it afterwards.
 * The product key is HKEY_LOCAL_MACHINE\SOFTWARE\KorvexData\ and the product id, in the 64-bit view
 * of a 64-bit system.
 */

/*
 * Stores the proxy server and the account for it.
 *
 * The sub-key "Proxy" of the product key receives, in this order, "Server" (text), "Port" and
 * "Enable" (numbers), "UserName" and "Password" (texts). The latter two are enciphered, in
 * hexadecimal digits, with a key that every copy of the library has: they are not secret from
 * whoever reads the registry. An empty text is stored empty. All five are tried, also after one
 * that failed.
 *
 * The debug log receives the arguments at its info level, the password as it stands.
 *
 *   server     the host; MUST NOT be NULL, which is not checked
 *   port       its port
 *   user       the name of the account, or empty; MUST NOT be NULL
 *   password   its password, or empty; MUST NOT be NULL
 *   enable     whether the proxy is to be used
 *
 * Returns WY_S_OK; WY_E_SETTINGS_NOT_STORED when a value could not be written: the others may have
 * been then; WY_E_OUT_OF_MEMORY before anything is written.
 * Waits for a callback of an event that is running; must not be called from one.
 * Since 3.1.
 */
uint32_t WYAPI WySetProxy(const wchar_t* server, uint32_t port, const wchar_t* user,
                          const wchar_t* password, bool enable);

/*
 * Stores three identifiers of the application for the service.
 *
 * They become the texts "SpnGuid", "SpnId2" and "SpnId3" of the product key, in this order, up to
 * the first that cannot be written. Empty texts are stored.
 *
 *   first    MUST NOT be NULL, which is not checked
 *   second   likewise
 *   third    likewise
 *
 * Returns WY_S_OK, or a member of WY_E_SYSTEM_FAMILY with the error of the write that failed: the
 * values before it have been written.
 * Since 3.1.
 */
uint32_t WYAPI WySetIdentifier(const wchar_t* first, const wchar_t* second, const wchar_t* third);

/*
 * Stores up to four identifiers of the application for the service.
 *
 * The first two as WySetIdentifier does; then the third ("SpnId3") and the fourth ("SpnId4"), each
 * only when it is not empty. One that is left out keeps its value.
 *
 *   first    MUST NOT be NULL, which is not checked
 *   second   likewise
 *   third    NULL counts as empty
 *   fourth   likewise
 *
 * Returns what WySetIdentifier does.
 * Since 3.1.
 */
uint32_t WYAPI WySetIdentifierEx(const wchar_t* first, const wchar_t* second, const wchar_t* third,
                                 const wchar_t* fourth);

/*
 * Switches the reamer service and tells the service so.
 *
 * The number "Enable" of the sub-key "Reamer" of the product key receives the status, whose
 * failure is ignored. Then event 32769 is published with the object {"status": status}.
 *
 *   status   the new state
 *
 * Returns the result of the publication, see WyPublishEventEx.
 * Since 3.1.
 */
uint32_t WYAPI WySetReamerStatus(uint32_t status);

/*
 * Sets switch and level of the debug log of the installed product.
 *
 * Writes the keys "Enable" and "Level" of the sections "InteractiveSession" and "ServiceSession" of
 * krdbg.ini in the product's folder and, where it exists, of win32\krdbg.ini below it. Logs that
 * are running keep their values until they read the file again.
 *
 *   enable   whether logs are written
 *   level    the mask of the levels, written as "0x%08x"
 *
 * Returns WY_S_OK; WY_E_LOG_SETTINGS_NOT_CHANGED when the first file does not exist (and then
 * nothing is written, also when the second does), or when something could not be written: all
 * writes are tried.
 * Since 3.1.
 */
uint32_t WYAPI WySetDebugLog(bool enable, uint32_t level);

/*
 * Tells the folder of the debug log.
 *
 * It is "LogFolder" of the section "ServiceSession" of krdbg.ini in the product's folder, with
 * "%commonappdata%" in it replaced by the application data of the machine; without such an entry
 * C:\ProgramData\Korvex Data\ and the product id. The folder need not exist.
 *
 *   buffer   receives the text with a NUL; the whole of it is cleared first. NULL asks for the size
 *   size     the buffer's length in characters; receives the length of the text, without its NUL,
 *            in any case
 *
 * Returns WY_S_OK, also when the buffer was too small, and then it holds an empty text: the folder
 * is there only when the size was greater than the one received. WY_E_BUFFER_IS_NULL for a NULL
 * buffer, with the size received; WY_E_INVALID_ARGUMENT for a NULL size.
 * Since 3.1.
 *
 *     uint32_t size = 0;
 *     if (WyGetDebugLogFolder(NULL, &size) == WY_E_BUFFER_IS_NULL) {
 *         uint32_t room = ++size;
 *         wchar_t* folder = (wchar_t*)malloc(room * sizeof(wchar_t));
 *         if (WyGetDebugLogFolder(folder, &size) == WY_S_OK && size < room) use(folder);
 *     }
 */
uint32_t WYAPI WyGetDebugLogFolder(wchar_t* buffer, uint32_t* size);

/*
 * Tells the folder of the product's cache: "Cache" in the product's folder, or in that of the
 * running program where no product is installed. The folder need not exist.
 *
 *   buffer   as for WyGetDebugLogFolder
 *   size     likewise
 *
 * Returns what WyGetDebugLogFolder does.
 * Since 3.1.
 */
uint32_t WYAPI WyGetCacheFolder(wchar_t* buffer, uint32_t* size);

/* ---------------------------------------------------------------------------------------------
 * Update
 */

/* Asks the service to look for an update. Since 3.1. */
uint32_t WYAPI WyUpdate(void);

/*
 * Deploys a downloaded update: copies its files beside the folder of the product at once, and has
 * them moved into it at the next start of the system.
 *
 * The copies lie in a folder beside that of the product, with its name and "AuTemp" behind it. The
 * next start replaces each file of the product that the update has, adds what is new, and removes
 * the copies. Nothing is undone after a failure: what was copied stays, and the next deployment
 * takes it along.
 *
 * The outcome, success as well, is reported to the service where the product's configuration wants
 * it; with no service there the call returns late, with its own result. While the call runs the
 * main debug log is kept in the folder for temporary files: no other function of the library may
 * be running. Needs no session, and write access to the product's folder and the one above it.
 * Without an installed product the copies go to "AuTemp" in the present folder of the process and
 * nothing is queued.
 *
 *   downloadPath   the folder that holds the update, with or without a backslash at its end
 *
 * Returns WY_S_OK when all is copied and queued; a file that the system does not queue is left out
 * and logged. WY_E_INVALID_ARGUMENT for NULL, WY_E_BAD_PATH for a path that does not exist, a
 * member of WY_E_SYSTEM_FAMILY when copying or listing failed, WY_E_OUT_OF_MEMORY.
 * Since 3.1.
 */
uint32_t WYAPI WyAuDeploy(const wchar_t* downloadPath);

/* ---------------------------------------------------------------------------------------------
 * Installing and removing the product
 *
 * For a set-up program. The work is done in the calling process, which needs administrator's
 * rights; no session and no service is needed. One such call on a machine at a time: WyInstall and
 * WyUninstall wait for each other within a process and, like WyStartService, hold the lock of the
 * event functions, but between processes, and for WyPostInstall, nothing sees to that.
 *
 * An installation has two phases: WyInstall lays down the files, WyPostInstall starts the product
 * and marks the installation as complete. docs/deployment.md tells what a package is made of, what
 * each code means for the person at the machine, and what stays behind after a failure.
 */

/*
 * Installs, re-installs or upgrades the product from an unpacked package.
 *
 * A product that is installed already stays where it is: the call moves it to "WyvarionBackup"
 * beside its folder and installs into the old place, whatever `installDir` says. After a failure
 * it is brought back and started again. There are failures with nothing to bring back, such as a
 * later version that is installed or a restart that is pending: the install folder of a re-install
 * is then deleted. The product key's InstallStatus tells how far it came (1 not finished, 2 brought
 * back, 3 not brought back).
 *
 * While the call runs the main debug log is kept in the folder for temporary files: no other
 * function of the library may be running.
 *
 *   productId      the product number, kept for WyPostInstall
 *   vendorId       the vendor number, likewise
 *   packageDir     the folder with Setup.ini and InstCfg.xml; it may end in a backslash
 *   installDir     where a first installation goes
 *   installDirOut  receives the folder really used, a copy that the caller releases with LocalFree,
 *                  after a failure, too; NULL when nothing was tried or without memory. May be
 *                  NULL itself
 *
 * Returns WY_S_OK; WY_E_INVALID_ARGUMENT for a NULL text, and then nothing is done;
 * WY_E_EMPTY_FOLDER, WY_E_REBOOT_PENDING, WY_E_LATER_VERSION_INSTALLED, WY_E_PROCESSES_NOT_STOPPED,
 * WY_E_FOLDER_NOT_RENAMED, WY_E_SHORTCUTS_NOT_REMOVED, WY_E_AUTORUN_NOT_REMOVED,
 * WY_E_PACKAGE_NOT_READ, WY_E_SYSTEM_REFUSED, WY_E_ACCESS_DENIED, WY_E_MANIFEST_NOT_CARRIED_OUT;
 * WY_E_FAILURE when a folder or key cannot be made or a tool not be copied; a member of
 * WY_E_SYSTEM_FAMILY with the Win32 error of the service manager or of a folder;
 * WY_E_OUT_OF_MEMORY. The code of a rollback is not told.
 * Since 3.1.
 */
uint32_t WYAPI WyInstall(const wchar_t* productId, const wchar_t* vendorId,
                         const wchar_t* packageDir, const wchar_t* installDir,
                         wchar_t** installDirOut);

/*
 * Starts the product that WyInstall has laid down: enters and starts its service, makes shortcuts
 * and the autorun value, starts the session agent, records the version, tells the service, and
 * marks the installation as complete.
 *
 * After a failure a first installation stays as it is. A product that counts as installed has its
 * folder deleted, since the backup is known to WyInstall alone and is not brought back: install it
 * anew. The call can take minutes while the service starts.
 *
 * Returns WY_S_OK or another success code of the service; WY_E_SHORTCUTS_NOT_CREATED,
 * WY_E_AUTORUN_NOT_WRITTEN, WY_E_SESSION_AGENT_NOT_STARTED; a member of WY_E_SYSTEM_FAMILY with the
 * Win32 error of the service manager, 1073 (ERROR_SERVICE_EXISTS) when a service of that name is
 * there and its program is not signed by the maker; a code of the service; WY_E_OUT_OF_MEMORY.
 * Since 3.1.
 */
uint32_t WYAPI WyPostInstall(void);

/*
 * Removes the product: tells its service, ends its processes, and deletes service, shortcuts,
 * autorun value, task, folders and registry keys. It goes as far as it can.
 *
 * A folder in use is no failure: what is left of it goes at the next start of the system, and until
 * then WyInstall of the product returns WY_E_REBOOT_PENDING. The folder of the calling program is
 * deleted, too, when the product is not registered. While the call runs the main debug log is kept
 * in the folder for temporary files: no other function of the library may be running.
 *
 * Returns WY_S_OK, WY_E_PROCESSES_NOT_STOPPED, and then nothing was removed; a member of
 * WY_E_SYSTEM_FAMILY with the Win32 error of the service manager, WY_E_SHORTCUTS_NOT_REMOVED or
 * WY_E_AUTORUN_NOT_REMOVED, and then folders and keys are still there; WY_E_KEYS_NOT_REMOVED;
 * WY_E_OUT_OF_MEMORY.
 * Since 3.1.
 */
uint32_t WYAPI WyUninstall(void);

/* ---------------------------------------------------------------------------------------------
 * Service control
 *
 * The service is a Windows service whose process belongs to a watchdog, another process of the
 * product. These two functions ask the watchdog and then watch the service in the service manager;
 * nothing is sent to the service itself. They work without a session.
 *
 * Both hold the lock of the event functions until they return, which can take minutes: meanwhile
 * subscriptions wait, and so does the delivery of events. Do not call them from an event callback,
 * which runs under that lock.
 */

/*
 * Has the service started, and returns when it runs.
 *
 * Waits up to 120 seconds for the watchdog to come up and then up to 120 seconds for the service. A
 * service that runs already is a success.
 *
 * Returns WY_S_OK, or a member of WY_E_SYSTEM_FAMILY with the Win32 error of the step that failed:
 * 2 (ERROR_FILE_NOT_FOUND) without a watchdog, 1460 (ERROR_TIMEOUT) when the service does not get
 * to run, 1060 (ERROR_SERVICE_DOES_NOT_EXIST), 5 (ERROR_ACCESS_DENIED).
 * Since 3.1.
 */
uint32_t WYAPI WyStartService(void);

/*
 * Has the service stopped, and returns when it is stopped and its process has had time to end.
 *
 * Waits up to 120 seconds for the service, and in every case, a failure included, 2 seconds more.
 * Without a watchdog the service counts as stopped, and the call succeeds.
 *
 * Returns WY_S_OK, or a member of WY_E_SYSTEM_FAMILY as WyStartService does.
 * Since 3.1.
 */
uint32_t WYAPI WyStopService(void);

#ifdef __cplusplus
}
#endif

#endif
