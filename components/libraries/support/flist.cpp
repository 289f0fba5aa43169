// Intrusive doubly linked list.
//
// A node's pList says whether it is linked, so a node that is in no list can be told without a walk.
#include "flist_api.h"

namespace {

constexpr DWORD INITIALISED_SIGNATURE = 0x464C4953;

bool IsUsable(const FLIST_D *pList) {
    return pList != nullptr && pList->dwSignature == INITIALISED_SIGNATURE;
}

// A node may be linked more often than an int counts.
int NextReference(int nReference) {
    return static_cast<int>(static_cast<unsigned>(nReference) + 1U);
}

} // namespace

void FastListInitD(FLIST_D *pList) {
    if (pList != nullptr)
        *pList = FLIST_D{INITIALISED_SIGNATURE, 0, 0, 0, nullptr, nullptr};
}

void FastLinkAtStartD(FNODE_D *pNode, void *pvObject, FLIST_D *pList) {
    if (pNode == nullptr || !IsUsable(pList))
        return;
    pNode->pvObject = pvObject;
    pNode->pList = pList;
    pNode->pPrev = nullptr;
    pNode->pNext = pList->pHead;
    pNode->nReference = NextReference(pNode->nReference);
    (pList->pHead != nullptr ? pList->pHead->pPrev : pList->pTail) = pNode;
    pList->pHead = pNode;
    ++pList->nNumOfEntries;
}

void FastUnlinkD(FNODE_D *pNode) {
    if (pNode == nullptr || !IsUsable(pNode->pList))
        return;
    FLIST_D *const pList = pNode->pList;
    FNODE_D *&pTowardsNode = pNode->pPrev != nullptr ? pNode->pPrev->pNext : pList->pHead;
    FNODE_D *&pBackToNode = pNode->pNext != nullptr ? pNode->pNext->pPrev : pList->pTail;
    const bool bHeld = pTowardsNode == pNode && pBackToNode == pNode && pList->nNumOfEntries > 0;
    if (bHeld) { // otherwise its list was made empty since, and holds it no more
        pTowardsNode = pNode->pNext;
        pBackToNode = pNode->pPrev;
        --pList->nNumOfEntries;
    }
    pNode->pNext = pNode->pPrev = nullptr;
    pNode->pList = nullptr;
}
