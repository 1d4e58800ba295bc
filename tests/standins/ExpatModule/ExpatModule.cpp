// Stands in for an XML library that is too old: it has all functions of the contract but the last
// but one, "XML_ExpatVersionInfo". None of them does anything.

#ifdef _WIN32
#define STANDIN_EXPORT extern "C" __declspec(dllexport)
#else
#define STANDIN_EXPORT extern "C" __attribute__((visibility("default")))
#endif

#define STANDIN_FUNCTION(name) \
    STANDIN_EXPORT void name() {}

STANDIN_FUNCTION(XML_ParserCreate)
STANDIN_FUNCTION(XML_ParserCreateNS)
STANDIN_FUNCTION(XML_ParserCreate_MM)
STANDIN_FUNCTION(XML_ParserReset)
STANDIN_FUNCTION(XML_SetElementHandler)
STANDIN_FUNCTION(XML_SetStartElementHandler)
STANDIN_FUNCTION(XML_SetEndElementHandler)
STANDIN_FUNCTION(XML_SetCharacterDataHandler)
STANDIN_FUNCTION(XML_SetProcessingInstructionHandler)
STANDIN_FUNCTION(XML_SetCommentHandler)
STANDIN_FUNCTION(XML_SetDefaultHandler)
STANDIN_FUNCTION(XML_SetUnparsedEntityDeclHandler)
STANDIN_FUNCTION(XML_SetNotationDeclHandler)
STANDIN_FUNCTION(XML_SetNamespaceDeclHandler)
STANDIN_FUNCTION(XML_SetStartNamespaceDeclHandler)
STANDIN_FUNCTION(XML_SetEndNamespaceDeclHandler)
STANDIN_FUNCTION(XML_SetNotStandaloneHandler)
STANDIN_FUNCTION(XML_SetExternalEntityRefHandler)
STANDIN_FUNCTION(XML_SetExternalEntityRefHandlerArg)
STANDIN_FUNCTION(XML_SetUserData)
STANDIN_FUNCTION(XML_SetEncoding)
STANDIN_FUNCTION(XML_Parse)
STANDIN_FUNCTION(XML_GetBuffer)
STANDIN_FUNCTION(XML_ParseBuffer)
STANDIN_FUNCTION(XML_StopParser)
STANDIN_FUNCTION(XML_ResumeParser)
STANDIN_FUNCTION(XML_GetParsingStatus)
STANDIN_FUNCTION(XML_GetErrorCode)
STANDIN_FUNCTION(XML_GetCurrentLineNumber)
STANDIN_FUNCTION(XML_GetCurrentColumnNumber)
STANDIN_FUNCTION(XML_GetCurrentByteIndex)
STANDIN_FUNCTION(XML_GetCurrentByteCount)
STANDIN_FUNCTION(XML_ParserFree)
STANDIN_FUNCTION(XML_ErrorString)
STANDIN_FUNCTION(XML_ExpatVersion)
STANDIN_FUNCTION(XML_GetFeatureList)
