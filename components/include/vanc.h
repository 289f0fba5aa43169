/** @file
 * One SMPTE 12M timecode (SMPTE ST 12-1, ST 12-2) as it is read from or written to the vertical interval.
 *
 * Every digit field holds one decimal digit as a plain binary value, not a packed BCD pair: 13 hours is HourTens 1
 * and HourUnits 3. The timecode library reads the eight digit fields only. A timecode that a producer hands in keeps
 * all its other fields, also while its digits are carried forward; one that is formed from a UTC has 0 in them.
 */
#ifndef VANC_H
#define VANC_H

#include "xtypes.h" /* which refuses systems of other than 64 bits */

/** The eight binary groups (user bits) of SMPTE ST 12-1, each a value of 0 to 15. */
typedef struct vitc_bg_s {
    unsigned char BinaryGroup1; /**< group 1 */
    unsigned char BinaryGroup2; /**< group 2 */
    unsigned char BinaryGroup3; /**< group 3 */
    unsigned char BinaryGroup4; /**< group 4 */
    unsigned char BinaryGroup5; /**< group 5 */
    unsigned char BinaryGroup6; /**< group 6 */
    unsigned char BinaryGroup7; /**< group 7 */
    unsigned char BinaryGroup8; /**< group 8 */
} vitc_bg_t;

/** One timecode, whole as the line has it. */
typedef struct vitc_s {
    unsigned int TimeStampAssociated; /**< set by the producer, not interpreted */
    unsigned char FrameUnits;         /**< frame number, units digit, 0 to 9 */
    unsigned char FrameTens;          /**< frame number, tens digit */
    unsigned char Flag1;              /**< flag bits beside the frame digits */
    unsigned char SecondUnits;        /**< seconds, units digit, 0 to 9 */
    unsigned char SecondTens;         /**< seconds, tens digit, 0 to 5 */
    unsigned char Flag2;              /**< flag bits beside the seconds digits */
    unsigned char MinuteUnits;        /**< minutes, units digit, 0 to 9 */
    unsigned char MinuteTens;         /**< minutes, tens digit, 0 to 5 */
    unsigned char Flag3;              /**< flag bits beside the minutes digits */
    unsigned char HourUnits;          /**< hours, units digit, 0 to 9 */
    unsigned char HourTens;           /**< hours, tens digit, 0 to 2 */
    unsigned char Flag4;              /**< flag bits beside the hours digits */
    unsigned char VitcCrc;            /**< CRC of the VITC line as the producer gives it */
    unsigned char VitcCrcErr;         /**< the producer's CRC error indication */
    vitc_bg_t BinaryGroups;           /**< user bits */
} vitc_t;

#endif
