// The functions of the system that may fail, and those that are left out, each with its reason.
//
// A row for a function that nothing imports yet does no harm; a function that is imported and
// stands nowhere here fails a test.

// The functions have the names of psapi.dll, not those that they have in kernel32.dll.
#define PSAPI_VERSION 1

#include <fcntl.h>
#include <io.h>
#include <process.h>

#include <cstdio>
#include <sstream>

#include "Common/KrCommon/KrComn_LogContract.h"
#include "support/PlatformRow_win32.h"

#include <objbase.h>
#include <psapi.h>
#include <rpcndr.h>
#include <shlobj.h>
#include <shlwapi.h>
#include <sys/stat.h>
#include <tlhelp32.h>
#include <userenv.h>
#include <wincrypt.h>
#include <wtsapi32.h>

// Of the trace module, never called from here.
KrDbgInitializeFunction KrDbgInitialize;
KrDbgTraceFunction KrDbgTrace;
KrDbgUninitializeFunction KrDbgUninitialize;

namespace test_support {

namespace {

using enum Effect;
using enum Failure;
using enum Holding;

// The columns of a row behind its name.
struct Columns {
    Effect effect;
    Failure failure;
    std::uint32_t secondCode;
    Holding holding = kNothing;
    int holdingCount = 0;
};

struct Row {
    const char* name;
    PlatformWrapper wrapper;
    Columns columns;
};

#define CALL(function, ...)                    \
    {                                          \
#function, WY_SYSTEM_CALL(function), { \
            __VA_ARGS__                        \
        }                                      \
    }
#define CRT(function, ...)                  \
    {                                       \
#function, WY_CRT_CALL(function), { \
            __VA_ARGS__                     \
        }                                   \
    }

const Row kAdvapi32[] = {
    CALL(RegCloseKey, kReads, kCode, ERROR_INVALID_HANDLE, kKey, -1),
    CALL(RegCreateKeyExW, kChanges, kCode, ERROR_NO_SYSTEM_RESOURCES, kKey, 1),
    CALL(RegDeleteKeyExW, kChanges, kCode, ERROR_FILE_NOT_FOUND),
    CALL(RegDeleteKeyW, kChanges, kCode, ERROR_FILE_NOT_FOUND),
    CALL(RegDeleteValueW, kChanges, kCode, ERROR_FILE_NOT_FOUND),
    CALL(RegEnumKeyExW, kReads, kCode, ERROR_KEY_DELETED),
    CALL(RegEnumValueW, kReads, kCode, ERROR_KEY_DELETED),
    CALL(RegFlushKey, kChanges, kCode, ERROR_REGISTRY_IO_FAILED),
    CALL(RegOpenKeyExW, kReads, kCode, ERROR_FILE_NOT_FOUND, kKey, 1),
    CALL(RegQueryInfoKeyW, kReads, kCode, ERROR_KEY_DELETED),
    CALL(RegQueryValueExW, kReads, kCode, ERROR_FILE_NOT_FOUND),
    CALL(RegSetValueExW, kChanges, kCode, ERROR_REGISTRY_IO_FAILED),

    CALL(AddAccessAllowedAce, kReads, kZero, ERROR_ALLOTTED_SPACE_EXCEEDED),
    CALL(AdjustTokenPrivileges, kReads, kZero, ERROR_INVALID_HANDLE),
    CALL(AllocateAndInitializeSid, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY, kSid, 1),
    CALL(CheckTokenMembership, kReads, kZero, ERROR_NO_IMPERSONATION_TOKEN),
    CALL(CopySid, kReads, kZero, ERROR_INSUFFICIENT_BUFFER),
    CALL(CreateWellKnownSid, kReads, kZero, ERROR_INSUFFICIENT_BUFFER),
    CALL(DuplicateTokenEx, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY, kHandle, 1),
    CALL(FreeSid, kReads, kNever, 0, kSid, -1),
    CALL(GetTokenInformation, kReads, kZero, ERROR_INSUFFICIENT_BUFFER),
    CALL(ImpersonateLoggedOnUser, kReads, kZero, ERROR_INVALID_HANDLE, kImpersonation, 1),
    CALL(InitializeAcl, kReads, kZero, ERROR_INVALID_PARAMETER),
    CALL(InitializeSecurityDescriptor, kReads, kZero, ERROR_UNKNOWN_REVISION),
    CALL(LookupPrivilegeValueW, kReads, kZero, ERROR_NO_SUCH_PRIVILEGE),
    CALL(OpenProcessToken, kReads, kZero, ERROR_INVALID_HANDLE, kHandle, 1),
    CALL(OpenThreadToken, kReads, kZero, ERROR_NO_TOKEN, kHandle, 1),
    CALL(RevertToSelf, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY, kImpersonation, -1),
    CALL(SetSecurityDescriptorDacl, kReads, kZero, ERROR_INVALID_ACL),
    CALL(SetSecurityDescriptorGroup, kReads, kZero, ERROR_INVALID_SID),
    CALL(SetThreadToken, kReads, kZero, ERROR_INVALID_HANDLE),
    CALL(SetSecurityDescriptorOwner, kReads, kZero, ERROR_INVALID_SID),

    CALL(ChangeServiceConfig2W, kChanges, kZero, ERROR_SERVICE_MARKED_FOR_DELETE),
    CALL(ChangeServiceConfigW, kChanges, kZero, ERROR_SERVICE_MARKED_FOR_DELETE),
    CALL(CloseServiceHandle, kReads, kZero, ERROR_INVALID_HANDLE, kService, -1),
    CALL(ControlService, kChanges, kZero, ERROR_SERVICE_CANNOT_ACCEPT_CTRL),
    CALL(CreateProcessAsUserW, kChanges, kZero, ERROR_PRIVILEGE_NOT_HELD, kHandle, 2),
    CALL(CreateServiceW, kChanges, kZero, ERROR_SERVICE_MARKED_FOR_DELETE, kService, 1),
    CALL(DeleteService, kChanges, kZero, ERROR_SERVICE_MARKED_FOR_DELETE),
    CALL(OpenSCManagerW, kReads, kZero, RPC_S_SERVER_UNAVAILABLE, kService, 1),
    CALL(OpenServiceW, kReads, kZero, ERROR_SERVICE_DOES_NOT_EXIST, kService, 1),
    CALL(QueryServiceConfigW, kReads, kZero, ERROR_INSUFFICIENT_BUFFER),
    CALL(QueryServiceStatus, kReads, kZero, ERROR_INVALID_HANDLE),
    CALL(QueryServiceStatusEx, kReads, kZero, ERROR_INVALID_HANDLE),
    CALL(StartServiceW, kChanges, kZero, ERROR_SERVICE_DISABLED),
};

const Row kKernel32[] = {
    CALL(FreeLibrary, kReads, kZero, ERROR_MOD_NOT_FOUND, kModule, -1),
    CALL(GetModuleFileNameW, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY),
    CALL(GetModuleHandleW, kReads, kZero, ERROR_MOD_NOT_FOUND),
    CALL(GetProcAddress, kReads, kZero, ERROR_PROC_NOT_FOUND),
    CALL(LoadLibraryExW, kReads, kZero, ERROR_MOD_NOT_FOUND, kModule, 1),
    CALL(LoadLibraryW, kReads, kZero, ERROR_MOD_NOT_FOUND, kModule, 1),

    CALL(CreateProcessW, kChanges, kZero, ERROR_FILE_NOT_FOUND, kHandle, 2),
    CALL(CreateThread, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY, kHandle, 1),
    CALL(CreateToolhelp32Snapshot, kReads, kAllOnes, ERROR_BAD_LENGTH, kHandle, 1),
    CALL(GetExitCodeProcess, kReads, kZero, ERROR_INVALID_HANDLE),
    CALL(GetExitCodeThread, kReads, kZero, ERROR_INVALID_HANDLE),
    CALL(GetProcessTimes, kReads, kZero, ERROR_INVALID_HANDLE),
    CALL(GetProductInfo, kReads, kZero, ERROR_INVALID_PARAMETER),
    CALL(OpenProcess, kReads, kZero, ERROR_INVALID_PARAMETER, kHandle, 1),
    CALL(Process32FirstW, kReads, kZero, ERROR_NO_MORE_FILES),
    CALL(Process32NextW, kReads, kZero, ERROR_NO_MORE_FILES),
    CALL(ProcessIdToSessionId, kReads, kZero, ERROR_INVALID_PARAMETER),
    CALL(TerminateProcess, kChanges, kZero, ERROR_INVALID_HANDLE),
    CALL(WTSGetActiveConsoleSessionId, kReads, kAllOnes, ERROR_NOT_READY),

    CALL(CloseHandle, kReads, kZero, ERROR_INVALID_HANDLE, kHandle, -1),
    CALL(CreateEventW, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY, kHandle, 1),
    CALL(CreateMutexW, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY, kHandle, 1),
    CALL(CreateSemaphoreW, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY, kHandle, 1),
    CALL(DuplicateHandle, kReads, kZero, ERROR_INVALID_HANDLE, kHandle, 1),
    CALL(OpenEventW, kReads, kZero, ERROR_FILE_NOT_FOUND, kHandle, 1),
    CALL(OpenMutexW, kReads, kZero, ERROR_FILE_NOT_FOUND, kHandle, 1),
    CALL(RegisterWaitForSingleObject, kReads, kZero, ERROR_INVALID_HANDLE),
    CALL(ReleaseMutex, kReads, kZero, ERROR_NOT_OWNER),
    CALL(ResetEvent, kChanges, kZero, ERROR_INVALID_HANDLE),
    CALL(SetEvent, kChanges, kZero, ERROR_INVALID_HANDLE),
    CALL(UnregisterWait, kReads, kZero, ERROR_INVALID_HANDLE),
    CALL(UnregisterWaitEx, kReads, kZero, ERROR_INVALID_HANDLE),
    CALL(WaitForMultipleObjects, kReads, kAllOnes, ERROR_INVALID_HANDLE),
    CALL(WaitForSingleObject, kReads, kAllOnes, ERROR_INVALID_HANDLE),

    CALL(CopyFileW, kChanges, kZero, ERROR_DISK_FULL),
    CALL(CreateDirectoryW, kChanges, kZero, ERROR_DISK_FULL),
    CALL(CreateFileW, kChanges, kAllOnes, ERROR_SHARING_VIOLATION, kHandle, 1),
    CALL(DeleteFileW, kChanges, kZero, ERROR_SHARING_VIOLATION),
    CALL(FindClose, kReads, kZero, ERROR_INVALID_HANDLE, kSearch, -1),
    CALL(FindFirstFileW, kReads, kAllOnes, ERROR_PATH_NOT_FOUND, kSearch, 1),
    CALL(FindNextFileW, kReads, kZero, ERROR_IO_DEVICE),
    CALL(FlushFileBuffers, kChanges, kZero, ERROR_DISK_FULL),
    CALL(GetCurrentDirectoryW, kReads, kZero, ERROR_FILE_NOT_FOUND),
    CALL(GetFileAttributesExW, kReads, kZero, ERROR_FILE_NOT_FOUND),
    CALL(GetFileAttributesW, kReads, kAllOnes, ERROR_FILE_NOT_FOUND),
    CALL(GetFileInformationByHandle, kReads, kZero, ERROR_INVALID_HANDLE),
    CALL(GetFileSize, kReads, kAllOnes, ERROR_INVALID_HANDLE),
    CALL(GetFileSizeEx, kReads, kZero, ERROR_INVALID_HANDLE),
    CALL(GetFullPathNameW, kReads, kZero, ERROR_PATH_NOT_FOUND),
    CALL(GetLongPathNameW, kReads, kZero, ERROR_FILE_NOT_FOUND),
    CALL(GetTempFileNameW, kChanges, kZero, ERROR_FILE_EXISTS),
    CALL(GetTempPathW, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY),
    CALL(MoveFileExW, kChanges, kZero, ERROR_SHARING_VIOLATION),
    CALL(MoveFileW, kChanges, kZero, ERROR_SHARING_VIOLATION),
    CALL(ReadFile, kReads, kZero, ERROR_CRC),
    CALL(RemoveDirectoryW, kChanges, kZero, ERROR_DIR_NOT_EMPTY),
    CALL(SetEndOfFile, kChanges, kZero, ERROR_DISK_FULL),
    CALL(SetFileAttributesW, kChanges, kZero, ERROR_FILE_NOT_FOUND),
    CALL(SetFilePointer, kReads, kAllOnes, ERROR_NEGATIVE_SEEK),
    CALL(SetFilePointerEx, kReads, kZero, ERROR_NEGATIVE_SEEK),
    CALL(WriteFile, kChanges, kZero, ERROR_DISK_FULL),

    CALL(GetPrivateProfileIntW, kReads, kDefault, ERROR_FILE_NOT_FOUND),
    CALL(GetPrivateProfileSectionNamesW, kReads, kDefault, ERROR_FILE_NOT_FOUND),
    CALL(GetPrivateProfileSectionW, kReads, kDefault, ERROR_FILE_NOT_FOUND),
    CALL(GetPrivateProfileStringW, kReads, kDefault, ERROR_FILE_NOT_FOUND),
    CALL(WritePrivateProfileSectionW, kChanges, kZero, ERROR_DISK_FULL),
    CALL(WritePrivateProfileStringW, kChanges, kZero, ERROR_DISK_FULL),

    CALL(ExpandEnvironmentStringsW, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY),
    CALL(GetComputerNameW, kReads, kZero, ERROR_BUFFER_OVERFLOW),
    CALL(GetEnvironmentVariableW, kReads, kZero, ERROR_ENVVAR_NOT_FOUND),
    CALL(GetSystemDirectoryW, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY),
    CALL(GetVersionExW, kReads, kZero, ERROR_INSUFFICIENT_BUFFER),
    CALL(GetWindowsDirectoryW, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY),
    CALL(GlobalMemoryStatusEx, kReads, kZero, ERROR_INVALID_PARAMETER),
};

const Row kMsvcrt[] = {
    CRT(_beginthreadex, kReads, kErrnoZero, EAGAIN),
    CRT(_close, kReads, kErrnoMinusOne, EBADF, kStream, -1),
    CRT(_filelengthi64, kReads, kErrnoMinusOne, EBADF),
    CRT(_fstat64, kReads, kErrnoMinusOne, EBADF),
    CRT(_lseeki64, kReads, kErrnoMinusOne, EINVAL),
    CRT(_read, kReads, kErrnoMinusOne, EIO),
    CRT(_wfopen, kChanges, kErrnoZero, EMFILE, kStream, 1),
    CRT(_wrename, kChanges, kErrnoMinusOne, EEXIST),
    CRT(_write, kChanges, kErrnoMinusOne, ENOSPC),
    CRT(fclose, kReads, kErrnoMinusOne, ENOSPC, kStream, -1),
    CRT(fflush, kChanges, kErrnoMinusOne, ENOSPC),
    CRT(fopen, kChanges, kErrnoZero, EMFILE, kStream, 1),
    CRT(fread, kReads, kErrnoZero, EIO),
    CRT(fwrite, kChanges, kErrnoZero, ENOSPC),
};

const Row kRpcrt4[] = {
    CALL(NdrGetBuffer, kReads, kRaised, RPC_S_OUT_OF_MEMORY),
    CALL(NdrSendReceive, kReads, kRaised, RPC_S_CALL_FAILED),
    CALL(RpcBindingFree, kReads, kCode, RPC_S_INVALID_BINDING, kRpcBinding, -1),
    CALL(RpcBindingFromStringBindingW, kReads, kCode, RPC_S_OUT_OF_MEMORY, kRpcBinding, 1),
    CALL(RpcBindingInqAuthClientW, kReads, kCode, RPC_S_BINDING_HAS_NO_AUTH),
    CALL(RpcBindingSetAuthInfoW, kReads, kCode, RPC_S_UNKNOWN_AUTHN_SERVICE),
    CALL(RpcImpersonateClient, kReads, kCode, RPC_S_NO_CONTEXT_AVAILABLE, kImpersonation, 1),
    CALL(RpcMgmtStopServerListening, kReads, kCode, RPC_S_NOT_LISTENING),
    CALL(RpcMgmtWaitServerListen, kReads, kCode, RPC_S_NOT_LISTENING),
    CALL(RpcRevertToSelf, kReads, kCode, RPC_S_NO_CALL_ACTIVE, kImpersonation, -1),
    CALL(RpcServerListen, kReads, kCode, RPC_S_ALREADY_LISTENING),
    CALL(RpcServerRegisterAuthInfoW, kReads, kCode, RPC_S_UNKNOWN_AUTHN_SERVICE),
    CALL(RpcServerRegisterIfEx, kReads, kCode, RPC_S_OUT_OF_MEMORY),
    CALL(RpcServerUnregisterIf, kReads, kCode, RPC_S_UNKNOWN_IF),
    CALL(RpcServerUseProtseqEpW, kReads, kCode, RPC_S_OUT_OF_MEMORY),
    CALL(RpcStringBindingComposeW, kReads, kCode, RPC_S_OUT_OF_MEMORY, kRpcText, 1),
    CALL(RpcStringFreeA, kReads, kNever, 0, kRpcText, -1),
    CALL(RpcStringFreeW, kReads, kNever, 0, kRpcText, -1),
    CALL(UuidCreate, kReads, kCode, RPC_S_UUID_NO_ADDRESS),
    CALL(UuidToStringA, kReads, kCode, RPC_S_OUT_OF_MEMORY, kRpcText, 1),
    CALL(UuidToStringW, kReads, kCode, RPC_S_OUT_OF_MEMORY, kRpcText, 1),
};

const Row kOle32[] = {
    CALL(CoCreateGuid, kReads, kResult, RPC_S_UUID_NO_ADDRESS),
    CALL(CoCreateInstance, kReads, kResult, ERROR_NOT_ENOUGH_MEMORY),
    CALL(CoInitialize, kReads, kResult, ERROR_NOT_ENOUGH_MEMORY, kApartment, 1),
    CALL(CoInitializeEx, kReads, kResult, ERROR_NOT_ENOUGH_MEMORY, kApartment, 1),
    CALL(CoInitializeSecurity, kReads, kResult, ERROR_NOT_ENOUGH_MEMORY),
    CALL(CoUninitialize, kReads, kNever, 0, kApartment, -1),
};

const Row kShell32[] = {
    CALL(SHGetFolderPathW, kReads, kResult, ERROR_FILE_NOT_FOUND),
    CALL(SHGetSpecialFolderPathW, kReads, kZero, ERROR_FILE_NOT_FOUND),
};

const Row kShlwapi[] = {
    CALL(PathAppendW, kReads, kZero, ERROR_FILENAME_EXCED_RANGE),
    CALL(PathFileExistsW, kReads, kZero, ERROR_FILE_NOT_FOUND),
};

// What these tell is an HRESULT.
constexpr auto kNotFound = static_cast<std::uint32_t>(CRYPT_E_NOT_FOUND);
constexpr auto kNoMatch = static_cast<std::uint32_t>(CRYPT_E_NO_MATCH);

const Row kCrypt32[] = {
    CALL(CertCloseStore, kReads, kNever, 0, kSignature, -1),
    CALL(CertFindCertificateInStore, kReads, kZero, kNotFound, kCertificate, 1),
    CALL(CertFreeCertificateContext, kReads, kNever, 0, kCertificate, -1),
    CALL(CertGetNameStringW, kReads, kDefault, ERROR_NOT_ENOUGH_MEMORY),
    CALL(CryptMsgClose, kReads, kNever, 0, kSignature, -1),
    CALL(CryptMsgGetParam, kReads, kZero, ERROR_MORE_DATA),
    CALL(CryptQueryObject, kReads, kZero, kNoMatch, kSignature, 2),
};

const Row kVersion[] = {
    CALL(GetFileVersionInfoSizeW, kReads, kZero, ERROR_RESOURCE_DATA_NOT_FOUND),
    CALL(GetFileVersionInfoW, kReads, kZero, ERROR_RESOURCE_DATA_NOT_FOUND),
    CALL(VerQueryValueW, kReads, kZero, ERROR_RESOURCE_TYPE_NOT_FOUND),
};

// Found at run time alone.
const Row kPsapi[] = {
    CALL(EnumProcesses, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY),
    CALL(EnumProcessModules, kReads, kZero, ERROR_PARTIAL_COPY),
    CALL(GetModuleFileNameExW, kReads, kZero, ERROR_INVALID_HANDLE),
};
const Row kUserenv[] = {
    CALL(CreateEnvironmentBlock, kReads, kZero, ERROR_NOT_ENOUGH_MEMORY, kEnvironment, 1),
    CALL(DestroyEnvironmentBlock, kReads, kZero, ERROR_INVALID_PARAMETER, kEnvironment, -1),
    CALL(GetAllUsersProfileDirectoryW, kReads, kZero, ERROR_FILE_NOT_FOUND),
};
const Row kWtsapi32[] = {
    CALL(WTSQueryUserToken, kReads, kZero, ERROR_NO_TOKEN, kHandle, 1),
};
const Row kKrDbgLog[] = {
    CRT(KrDbgInitialize, kReads, kCode, ERROR_DISK_FULL, kTraceSession, 1),
    CRT(KrDbgTrace, kReads, kCode, ERROR_DISK_FULL),
    CRT(KrDbgUninitialize, kReads, kNever, 0, kTraceSession, -1),
};

template <std::size_t Count>
void Append(std::vector<PlatformFunction>& table, const char* library, const Row (&rows)[Count]) {
    for (const Row& row : rows) {
        const Columns& columns = row.columns;
        table.push_back({library, row.name, columns.effect, columns.failure, columns.secondCode,
                         columns.holding, columns.holdingCount, row.wrapper.wrapper,
                         row.wrapper.original});
    }
}

std::vector<PlatformFunction> MakeTable() {
    std::vector<PlatformFunction> table;
    Append(table, "advapi32.dll", kAdvapi32);
    Append(table, "kernel32.dll", kKernel32);
    Append(table, "msvcrt.dll", kMsvcrt);
    Append(table, "rpcrt4.dll", kRpcrt4);
    Append(table, "ole32.dll", kOle32);
    Append(table, "shell32.dll", kShell32);
    Append(table, "shlwapi.dll", kShlwapi);
    Append(table, "crypt32.dll", kCrypt32);
    Append(table, "version.dll", kVersion);
    Append(table, "psapi.dll", kPsapi);
    Append(table, "userenv.dll", kUserenv);
    Append(table, "wtsapi32.dll", kWtsapi32);
    Append(table, "krdbglog.dll", kKrDbgLog);
    return table;
}

struct LeftOut {
    const char* reason;
    const char* names;
};

const LeftOut kLeftOut[] = {
    {"memory, which the tests of failing allocations cover",
     "CoTaskMemFree GetProcessHeap HeapAlloc HeapFree HeapReAlloc LocalAlloc LocalFree _msize "
     "calloc free malloc realloc SysAllocString SysFreeString VirtualProtect VirtualQuery "
     "IsBadReadPtr"},
    {"locks and thread-local storage, which fail for lack of memory alone",
     "CreateEventA CreateSemaphoreA DeleteCriticalSection EnterCriticalSection "
     "InitializeCriticalSection InitializeCriticalSectionAndSpinCount LeaveCriticalSection "
     "ReleaseSemaphore TlsAlloc TlsFree TlsGetValue TlsSetValue TryEnterCriticalSection "
     "InterlockedCompareExchange InterlockedDecrement InterlockedExchange InterlockedExchangeAdd "
     "InterlockedIncrement _lock _unlock WaitForSingleObjectEx"},
    {"the threads and the start of the run-time library",
     "GetHandleInformation GetModuleHandleA LoadLibraryA GetProcessAffinityMask GetThreadContext "
     "GetThreadPriority ResumeThread "
     "SetProcessAffinityMask SetThreadContext SetThreadPriority SuspendThread SwitchToThread "
     "_endthreadex _amsg_exit _assert _cexit _exit _initterm _onexit __dllonexit abort atexit exit "
     "signal CryptAcquireContextA CryptAcquireContextW CryptGenRandom CryptReleaseContext"},
    {"exceptions, and how they are found",
     "AddVectoredExceptionHandler FormatMessageA GetModuleHandleExW RaiseException "
     "RemoveVectoredExceptionHandler RpcRaiseException RtlCaptureContext RtlLookupFunctionEntry "
     "RtlUnwind RtlUnwindEx RtlVirtualUnwind SetUnhandledExceptionFilter UnhandledExceptionFilter "
     "__C_specific_handler _setjmp _setjmp3 longjmp"},
    {"cannot fail, or has no way to tell it",
     "ExitProcess FileTimeToLocalFileTime FileTimeToSystemTime FreeLibraryAndExitThread GetACP "
     "GetCurrentProcess GetCurrentProcessId GetCurrentThread GetCurrentThreadId GetDriveTypeW "
     "GetLastError GetLengthSid GetLocalTime GetNativeSystemInfo GetSidLengthRequired "
     "GetSystemInfo GetSystemMetrics GetSystemTime GetSystemTimeAsFileTime GetTickCount "
     "GetTickCount64 GetUserDefaultUILanguage IsDebuggerPresent NdrClientInitializeNew "
     "NdrFreeBuffer NdrServerCall2 OutputDebugStringA OutputDebugStringW QueryPerformanceCounter "
     "QueryPerformanceFrequency SetLastError Sleep SleepEx EqualSid SystemTimeToFileTime _errno "
     "_gmtime64 _localtime64 _mktime64 _time64 rand srand time"},
    {"the XML library, which works on memory alone",
     "XML_ErrorString XML_ExpatVersion XML_ExpatVersionInfo XML_GetBuffer "
     "XML_GetCurrentByteCount XML_GetCurrentByteIndex XML_GetCurrentColumnNumber "
     "XML_GetCurrentLineNumber XML_GetErrorCode XML_GetFeatureList XML_GetParsingStatus "
     "XML_Parse XML_ParseBuffer XML_ParserCreate XML_ParserCreateNS XML_ParserCreate_MM "
     "XML_ParserFree "
     "XML_ParserReset XML_ResumeParser XML_SetCharacterDataHandler XML_SetCommentHandler "
     "XML_SetDefaultHandler XML_SetElementHandler XML_SetEncoding XML_SetEndElementHandler "
     "XML_SetEndNamespaceDeclHandler XML_SetExternalEntityRefHandler "
     "XML_SetExternalEntityRefHandlerArg XML_SetNamespaceDeclHandler XML_SetNotStandaloneHandler "
     "XML_SetNotationDeclHandler XML_SetProcessingInstructionHandler XML_SetStartElementHandler "
     "XML_SetStartNamespaceDeclHandler XML_SetUnparsedEntityDeclHandler XML_SetUserData "
     "XML_StopParser"},
    {"depends on its arguments alone",
     "CompareStringW FormatMessageW IsDBCSLeadByteEx LCMapStringW MultiByteToWideChar "
     "PathFindExtensionW PathFindFileNameA PathFindFileNameW StringFromGUID2 WideCharToMultiByte "
     "lstrcmpiW lstrlenW wsprintfW ___lc_codepage_func ___mb_cur_max_func __mb_cur_max "
     "_snwprintf _strdup _stricmp _strnicmp _strtoi64 _strtoui64 _ultoa _vsnprintf _vsnwprintf "
     "_wcsdup _wcsicmp _wcsnicmp _wtoi atoi bsearch getenv isdigit isspace iswctype iswspace "
     "isxdigit localeconv memchr memcmp memcpy memmove memset qsort setlocale sprintf sscanf "
     "strchr strcmp strcoll strcpy strerror strftime strlen strncmp strncpy strrchr strstr strtol "
     "strtoul strxfrm swprintf tolower toupper towlower towupper wcschr wcscmp wcscoll wcscpy "
     "wcsftime wcslen wcsncmp wcsncpy wcsrchr wcsstr wcstol wcstoul wcsxfrm"},
    {"the streams of the program, which the library's own code does not use",
     "__iob_func _iob _fdopen _fileno _open fgetpos fprintf fputc fputs fputwc fsetpos fwprintf "
     "getc getwc printf putc putwc setvbuf ungetc ungetwc vfprintf"},
};

}  // namespace

const std::vector<PlatformFunction>& PlatformTable() {
    static const std::vector<PlatformFunction> s_Table = MakeTable();
    return s_Table;
}

std::string_view ReasonWithoutRow(std::string_view name) {
    for (const LeftOut& group : kLeftOut) {
        std::istringstream names(group.names);
        for (std::string one; names >> one;) {
            if (one == name)
                return group.reason;
        }
    }
    return {};
}

}  // namespace test_support
