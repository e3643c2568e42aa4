#include "attributetypes.h"

#include <cstring>
#include <iterator>

namespace tvk {

namespace {

struct NamedArc {
    unsigned char last; // the last arc, which is below 128 in all of them
    char const* name;
};

// Attributes of X.520.
constexpr NamedArc kX520[] = {{3, "CN"},
                              {4, "SN"},
                              {5, "serialNumber"},
                              {6, "C"},
                              {7, "L"},
                              {8, "ST"},
                              {9, "street"},
                              {10, "O"},
                              {11, "OU"},
                              {12, "title"},
                              {13, "description"},
                              {14, "searchGuide"},
                              {15, "businessCategory"},
                              {16, "postalAddress"},
                              {17, "postalCode"},
                              {18, "postOfficeBox"},
                              {19, "physicalDeliveryOfficeName"},
                              {20, "telephoneNumber"},
                              {21, "telexNumber"},
                              {22, "teletexTerminalIdentifier"},
                              {23, "facsimileTelephoneNumber"},
                              {24, "x121Address"},
                              {25, "internationaliSDNNumber"},
                              {26, "registeredAddress"},
                              {27, "destinationIndicator"},
                              {28, "preferredDeliveryMethod"},
                              {29, "presentationAddress"},
                              {30, "supportedApplicationContext"},
                              {31, "member"},
                              {32, "owner"},
                              {33, "roleOccupant"},
                              {34, "seeAlso"},
                              {35, "userPassword"},
                              {36, "userCertificate"},
                              {37, "cACertificate"},
                              {38, "authorityRevocationList"},
                              {39, "certificateRevocationList"},
                              {40, "crossCertificatePair"},
                              {41, "name"},
                              {42, "GN"},
                              {43, "initials"},
                              {44, "generationQualifier"},
                              {45, "x500UniqueIdentifier"},
                              {46, "dnQualifier"},
                              {47, "enhancedSearchGuide"},
                              {48, "protocolInformation"},
                              {49, "distinguishedName"},
                              {50, "uniqueMember"},
                              {51, "houseIdentifier"},
                              {52, "supportedAlgorithms"},
                              {53, "deltaRevocationList"},
                              {54, "dmdName"},
                              {65, "pseudonym"},
                              {72, "role"},
                              {97, "organizationIdentifier"},
                              {98, "c3"},
                              {99, "n3"},
                              {100, "dnsName"}};
constexpr unsigned char kX520Prefix[] = {0x55, 0x04};

// Attributes of RFC 1274 and RFC 4524.
constexpr NamedArc kCosine[] = {{1, "UID"},
                                {2, "textEncodedORAddress"},
                                {3, "mail"},
                                {4, "info"},
                                {5, "favouriteDrink"},
                                {6, "roomNumber"},
                                {7, "photo"},
                                {8, "userClass"},
                                {9, "host"},
                                {10, "manager"},
                                {11, "documentIdentifier"},
                                {12, "documentTitle"},
                                {13, "documentVersion"},
                                {14, "documentAuthor"},
                                {15, "documentLocation"},
                                {20, "homeTelephoneNumber"},
                                {21, "secretary"},
                                {22, "otherMailbox"},
                                {23, "lastModifiedTime"},
                                {24, "lastModifiedBy"},
                                {25, "DC"},
                                {26, "aRecord"},
                                {27, "pilotAttributeType27"},
                                {28, "mXRecord"},
                                {29, "nSRecord"},
                                {30, "sOARecord"},
                                {31, "cNAMERecord"},
                                {37, "associatedDomain"},
                                {38, "associatedName"},
                                {39, "homePostalAddress"},
                                {40, "personalTitle"},
                                {41, "mobileTelephoneNumber"},
                                {42, "pagerTelephoneNumber"},
                                {43, "friendlyCountryName"},
                                {44, "uid"},
                                {45, "organizationalStatus"},
                                {46, "janetMailbox"},
                                {47, "mailPreferenceOption"},
                                {48, "buildingName"},
                                {49, "dSAQuality"},
                                {50, "singleLevelQuality"},
                                {51, "subtreeMinimumQuality"},
                                {52, "subtreeMaximumQuality"},
                                {53, "personalSignature"},
                                {54, "dITRedirect"},
                                {55, "audio"},
                                {56, "documentPublisher"}};
constexpr unsigned char kCosinePrefix[] = {0x09, 0x92, 0x26, 0x89, 0x93, 0xF2, 0x2C, 0x64, 0x01};

// Attributes of RFC 2985.
constexpr NamedArc kPkcs9[] = {
    {1, "emailAddress"},      {2, "unstructuredName"},    {3, "contentType"},
    {4, "messageDigest"},     {5, "signingTime"},         {6, "countersignature"},
    {7, "challengePassword"}, {8, "unstructuredAddress"}, {9, "extendedCertificateAttributes"},
    {14, "extReq"},           {15, "SMIME-CAPS"},         {16, "SMIME"},
    {20, "friendlyName"},     {21, "localKeyID"}};
constexpr unsigned char kPkcs9Prefix[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09};

// Where a company is registered, in certificates with extended validation.
constexpr NamedArc kJurisdiction[] = {{1, "jurisdictionL"}, {2, "jurisdictionST"}, {3, "jurisdictionC"}};
constexpr unsigned char kJurisdictionPrefix[] = {0x2B, 0x06, 0x01, 0x04, 0x01, 0x82, 0x37, 0x3C, 0x02, 0x01};

// Numbers and tools of Russian registers.
constexpr NamedArc kRussian[] = {
    {1, "OGRN"},           {3, "SNILS"}, {5, "OGRNIP"}, {111, "subjectSignTool"}, {112, "issuerSignTool"},
    {113, "classSignTool"}};
constexpr unsigned char kRussianPrefix[] = {0x2A, 0x85, 0x03, 0x64};

// The Russian taxpayer number.
constexpr NamedArc kRussianTax[] = {{1, "INN"}};
constexpr unsigned char kRussianTaxPrefix[] = {0x2A, 0x85, 0x03, 0x03, 0x81, 0x03, 0x01};

struct Family {
    unsigned char const* prefix;
    unsigned long prefixLength;
    NamedArc const* arcs; // in ascending order
    unsigned long count;
};

constexpr Family kFamilies[] = {
    {kX520Prefix, sizeof kX520Prefix, kX520, std::size(kX520)},
    {kCosinePrefix, sizeof kCosinePrefix, kCosine, std::size(kCosine)},
    {kPkcs9Prefix, sizeof kPkcs9Prefix, kPkcs9, std::size(kPkcs9)},
    {kJurisdictionPrefix, sizeof kJurisdictionPrefix, kJurisdiction, std::size(kJurisdiction)},
    {kRussianPrefix, sizeof kRussianPrefix, kRussian, std::size(kRussian)},
    {kRussianTaxPrefix, sizeof kRussianTaxPrefix, kRussianTax, std::size(kRussianTax)}};

} // namespace

char const* attributeShortName(unsigned char const* content, unsigned long length) {
    for (Family const& family : kFamilies) {
        if (length != family.prefixLength + 1 ||
            std::memcmp(content, family.prefix, family.prefixLength) != 0) {
            continue;
        }
        unsigned char const last = content[length - 1];
        // The commonest types have small arcs with few gaps, so the search ends soon.
        for (unsigned long i = 0; i < family.count && family.arcs[i].last <= last; ++i) {
            if (family.arcs[i].last == last) {
                return family.arcs[i].name;
            }
        }
    }
    return nullptr;
}

} // namespace tvk
