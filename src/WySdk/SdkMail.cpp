#include "WySdk/SdkMail.h"

#include "lib/KrOuterClientHelper/OuterClientHelper.h"

std::uint32_t SendMail2Wyvarion(std::uint32_t destId, std::uint32_t mailId,
                                JsonDocument& document) {
    const JsonDocument input(document);
    JsonDocument output;
    CKrRpcClientHelper helper(ProductIdentity::kProductNumber, ProductIdentity::kProductIdString, 0,
                              false, ProductIdentity::kTimeout);
    const std::uint32_t result =
        helper.SendMail2ProductPlugin(destId, mailId, input, output, false);
    document.Clear();
    document = output;
    return result;
}
