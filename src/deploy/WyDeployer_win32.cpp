#include "deploy/WyDeployer.h"

namespace WyDeployHelper::DeployCommon {

CWyDeployer::CWyDeployer() : CWyDeployer(DeployMachine::OfSystem()) {}

}  // namespace WyDeployHelper::DeployCommon
