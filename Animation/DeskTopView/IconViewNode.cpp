#include "Animation/DeskTopView/IconViewNode.h"

IconViewNode::~IconViewNode() {
    setAppID(nullptr);
    setAppName(nullptr);
    setAppicon(nullptr);
}
