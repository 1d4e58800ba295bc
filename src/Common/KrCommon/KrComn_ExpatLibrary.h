#pragma once

// The XML library expat, loaded at run time ("libexpat.dll").
//
// Its own header gives the types; nothing is linked.

#include <expat.h>

#include <cstdint>

#include "Common/KrCommon/KrComn_Library.h"

namespace KrCommon::Library {

// The functions of expat. Each is null until Bind(true) has found it.
//
// The functions stand in the order in which they are looked for. An object is used by one thread
// at a time.
class Expat : public Wrapper {
public:
    ~Expat() override;

    // Takes all 37 functions from the module that is loaded, or lets go of them. All are tried; a
    // missing one fails the binding with the code of the system (GetProcAddress: 127). Without a
    // module the code is 6.
    bool Bind(bool load, std::uint32_t* error) override;

    decltype(&::XML_ParserCreate) m_pParserCreate = nullptr;
    decltype(&::XML_ParserCreateNS) m_pParserCreateNS = nullptr;
    decltype(&::XML_ParserCreate_MM) m_pParserCreateMM = nullptr;
    decltype(&::XML_ParserReset) m_pParserReset = nullptr;
    decltype(&::XML_SetElementHandler) m_pSetElementHandler = nullptr;
    decltype(&::XML_SetStartElementHandler) m_pSetStartElementHandler = nullptr;
    decltype(&::XML_SetEndElementHandler) m_pSetEndElementHandler = nullptr;
    decltype(&::XML_SetCharacterDataHandler) m_pSetCharacterDataHandler = nullptr;
    decltype(&::XML_SetProcessingInstructionHandler) m_pSetProcessingInstructionHandler = nullptr;
    decltype(&::XML_SetCommentHandler) m_pSetCommentHandler = nullptr;
    decltype(&::XML_SetDefaultHandler) m_pSetDefaultHandler = nullptr;
    decltype(&::XML_SetUnparsedEntityDeclHandler) m_pSetUnparsedEntityDeclHandler = nullptr;
    decltype(&::XML_SetNotationDeclHandler) m_pSetNotationDeclHandler = nullptr;
    decltype(&::XML_SetNamespaceDeclHandler) m_pSetNamespaceDeclHandler = nullptr;
    decltype(&::XML_SetStartNamespaceDeclHandler) m_pSetStartNamespaceDeclHandler = nullptr;
    decltype(&::XML_SetEndNamespaceDeclHandler) m_pSetEndNamespaceDeclHandler = nullptr;
    decltype(&::XML_SetNotStandaloneHandler) m_pSetNotStandaloneHandler = nullptr;
    decltype(&::XML_SetExternalEntityRefHandler) m_pSetExternalEntityRefHandler = nullptr;
    decltype(&::XML_SetExternalEntityRefHandlerArg) m_pSetExternalEntityRefHandlerArg = nullptr;
    decltype(&::XML_SetUserData) m_pSetUserData = nullptr;
    decltype(&::XML_SetEncoding) m_pSetEncoding = nullptr;
    decltype(&::XML_Parse) m_pParse = nullptr;
    decltype(&::XML_GetBuffer) m_pGetBuffer = nullptr;
    decltype(&::XML_ParseBuffer) m_pParseBuffer = nullptr;
    decltype(&::XML_StopParser) m_pStopParser = nullptr;
    decltype(&::XML_ResumeParser) m_pResumeParser = nullptr;
    decltype(&::XML_GetParsingStatus) m_pGetParsingStatus = nullptr;
    decltype(&::XML_GetErrorCode) m_pGetErrorCode = nullptr;
    decltype(&::XML_GetCurrentLineNumber) m_pGetCurrentLineNumber = nullptr;
    decltype(&::XML_GetCurrentColumnNumber) m_pGetCurrentColumnNumber = nullptr;
    decltype(&::XML_GetCurrentByteIndex) m_pGetCurrentByteIndex = nullptr;
    decltype(&::XML_GetCurrentByteCount) m_pGetCurrentByteCount = nullptr;
    decltype(&::XML_ParserFree) m_pParserFree = nullptr;
    decltype(&::XML_ErrorString) m_pErrorString = nullptr;
    decltype(&::XML_ExpatVersion) m_pExpatVersion = nullptr;
    decltype(&::XML_ExpatVersionInfo) m_pExpatVersionInfo = nullptr;
    decltype(&::XML_GetFeatureList) m_pGetFeatureList = nullptr;
};

}  // namespace KrCommon::Library
