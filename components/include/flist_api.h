/** @file
 * Intrusive doubly linked list: the node is the first member of the object that it links.
 *
 * The list takes no lock and allocates nothing; the owner of a list holds its mutex around every call and while it
 * follows the links. Readers may follow pHead, pTail, pNext, pPrev and pvObject directly; only the three functions
 * change them.
 */
#ifndef FLIST_API_H
#define FLIST_API_H

#include "xtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct tagFLIST_D FLIST_D; /**< a list */
typedef struct tagFNODE_D FNODE_D; /**< a node of one */

/** A node, embedded as the first member of the object that it links. */
struct tagFNODE_D {
    FNODE_D *pNext; /**< neighbour on the tail side; null at the tail */
    FNODE_D *pPrev; /**< neighbour on the head side; null at the head */
    FLIST_D *pList; /**< the list that holds the node; null while it is in none */
    int nReference; /**< how often the node has been linked since it was cleared; owned by the list service */
    void *pvObject; /**< the object that the node links, stored when it is linked */
};

/** A list. */
struct tagFLIST_D {
    DWORD dwSignature;    /**< marks an initialised list; owned by the list service */
    UINT64 nNumOfEntries; /**< number of linked nodes */
    int nDebugLevel;      /**< 0; owned by the list service */
    int nReference;       /**< 0; owned by the list service */
    FNODE_D *pHead;       /**< the node linked most recently at the start; null when empty */
    FNODE_D *pTail;       /**< the node at the other end; null when empty */
};

/**
 * Makes the list empty, whatever it held; nodes that it held are not touched.
 *
 * @param pList the list; null is ignored
 */
XTYPES_EXPORT void FastListInitD(FLIST_D *pList);

/**
 * Links a node at the head of a list and stores its object in it. Constant time.
 *
 * @param pNode the node, which must be in no list; null is ignored
 * @param pvObject what the node links; any value
 * @param pList the list; null, or one that was never initialised, is ignored
 */
XTYPES_EXPORT void FastLinkAtStartD(FNODE_D *pNode, void *pvObject, FLIST_D *pList);

/**
 * Takes a node out of the list that holds it. Constant time. pvObject stays, so that the object can still be reached
 * from the node.
 *
 * @param pNode the node; null, or one that is in no list, is ignored
 */
XTYPES_EXPORT void FastUnlinkD(FNODE_D *pNode);

#ifdef __cplusplus
}
#endif

#endif
