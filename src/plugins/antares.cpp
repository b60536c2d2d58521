#include "plugins/antares.h"

#include <cstring>
#include <utility>
#include <vector>

namespace {

// Rows by signature: "id=default<source", the source missing where the row has none.
struct AntaresRows {
    const char* signature;
    const char* rows;
};

const AntaresRows kAntaresRows[] = {
        {"AntrWarm",
         "bypa=0.0<but3, driv=0.0<sld1, ingn=0.0<bypa, omni=0.0<but1, outg=0.0<sld2, vlcr=0.0<sld3"},
        {"AntrVMax",
         "bypa=0.0<bypa, ceil=-3.0<sld3, gain=0.0<sld1, rele=0.0<sld2"},
        {"AntrVChr",
         "DelV=100.0<sld3, PitV=30.0<sld2, Sprd=100.0<sld4bypa, VibV=30.0<sld1, bypa=0.0, vcnt=1.0<vcnt"},
        {"AntrVDbl",
         "bypa=0.0<Master Bypass, dblL=0.0<sld6, orgL=0.0<sld5, pitc=10.0<sld3, pnin=-100.0<sld7, "
         "pnou=100.0<sld8, strc=-2.980232238769531e-8<sld1, time=10.0<sld4, vibr=0.0<sld2, vocl=1.0<revt"},
        {"AntrMutr",
         "alie=1.0<vrpu, area=10.00000095367432<dil1, bufr=0.0<but3, bypa=0.0<bypa, byps=0.0<dil4, "
         "detu=0.0<but2, gain=0.0<dil3, prm2=1.0<dil5, prm3=1.0<dil6, prm4=0.0<but1, stre=100.0<dil2, "
         "tmpT=2.0<dil7, vrpu=0.0<sld1"},
        {"AntrVMrp",
         "area=1.0<sld4, bfrq=4000.0<sld2, bypa=0.0, byps=0.0<but2, detu=0.0<sld7, dyna=0.0<dyna, "
         "gain=0.0<sld6, glot=1.0<gsrc, gmdl=1.0<gmdl, levl=0.0<but1, mddy=64.0<sld5, nois=0.0<sld1, "
         "rset=0.0<but3, stre=1.0<sld3, unus=0.0<bypa, vrpu=1.0<vrpu, x001=12.0<pnt5, x002=25.0<pnt6, "
         "x003=37.0<pnt7, x004=49.0<pnt8, y001=0.25<pnt0, y002=0.25<pnt1, y003=0.25<pnt2, y004=0.25<pnt3, "
         "y005=0.25<pnt4"},
        {"AntrAspr",
         "QQQQ=0.699999988079071<sld5, bypa=0.0<bypa, freq=1500.0<sld4, gain=0.0<sld6, incr=6.0<sld3, "
         "inre=0.0<inre, redu=-6.0<sld2, strc=25.0<sld1, vocl=1.0<vrpu"},
        {"AntrArti",
         "bypa=0.0<bypa, byps=0.0<but2, ebyp=0.0<slde, eqfr=100.0<sld6, eqga=0.7100000381469727<sld8, "
         "long=1.0<sld3, ngai=-36.0<sld5, nois=0.0<sldc, ogai=-36.0<sldb, opan=0.0<sldd, "
         "queu=1500.0<sld7, sens=0.0<but3, sgai=0.0<sld4, synt=0.0<but1, trck=25.0<sld1, vgai=0.0<slda, "
         "vocl=1.0<vrpu, vpan=0.0<but4, wide=1.0<sld2"},
        {"AntrMicX",
         "bypa=0.0<driv, driv=42.0<prko, ilcp=0.0<ofpp, ingn=0.0<bypa, ipnp=0.0<olcp, mici=0.0<otgn, "
         "mico=0.0<ifpp, olcp=0.0<ilcp, opnp=0.0<ipnp, otgn=0.0<ingn, prxi=0.0<opnp, prxo=42.0<prki"},
        {"AntrHE41",
         "XXX1=0.0<XXX1, byc0=0.0<cen2, byc1=0.0<cen3, byc2=0.0<cen4, byc3=0.0<cen5, bycm=0.0<chmb, "
         "byor=0.0<cen1, bypa=0.0<bypa, chr1=30.0<chvb, chr2=30.0<chpt, chr3=100.0<chdl, chr4=100.0<chsp, "
         "crdd=0.0<crzd, crdn=0.0<crzn, cycl=1.0<but1, flsA=0.0<butA, flsB=0.0<butB, full=0.0<but4, "
         "gan0=-6.0<sldC, gan1=-6.0<sldK, gan2=-6.0<sldR, gan3=-6.0<sldY, gano=-6.0<sld9, glot=1.0<gltl, "
         "hmny=1.0<hsrc, icr0=24.0<icz0, icr1=24.0<icz1, icr2=24.0<icz2, icr3=24.0<icz3, idi0=7.0<idz0, "
         "idi1=10.0<idz1, idi2=12.0<idz2, idi3=21.0<idz3, invp=0.0<invz, keyp=0.0<keyz, lowl=0.0<lowl, "
         "mdsd=100.0<sld5, mut0=0.0<but6, mut1=0.0<but7, mut2=0.0<but8, mut3=0.0<but9, omut=0.0<but5, "
         "osol=0.0<buta, pan0=-50.0<sldB, pan1=50.0<sldJ, pan2=-100.0<sldQ, pan3=100.0<sldX, "
         "pano=0.0<sld8, pr11=0.0<cr11, pr12=0.0<cr12, pr13=0.0<cr13, pr21=0.0<cr21, pr22=0.0<cr22, "
         "pr23=0.0<cr23, pr31=0.0<cr31, pr32=0.0<cr32, pr33=0.0<cr33, pr41=0.0<cr41, pr42=0.0<cr42, "
         "pr43=0.0<cr43, pr51=0.0<cr51, pr52=0.0<cr52, pr53=0.0<cr53, pr61=0.0<cr61, pr62=0.0<cr62, "
         "pr63=0.0<cr63, pr71=0.0<cr71, pr72=0.0<cr72, pr73=0.0<cr73, prm3=0.0<sld1, "
         "prm4=125.0000152587891<sld2, prm5=30.0<sld3, prm6=50.0<sld4, regs=50.0<sld6, sclp=0.0<sclz, "
         "sol0=0.0<butb, sol1=0.0<butd, sol2=0.0<bute, sol3=0.0<butf, sprs=50.0<sld7, str0=1.0<sldA, "
         "str1=1.0<sldH, str2=1.0<sldP, str3=1.0<sldW, sttr=9.0<sldz, vam0=0.0<sldF, vam1=0.0<sldN, "
         "vam2=0.0<sldU, vam3=0.0<sldb, vmx0=0.0<sldE, vmx1=0.0<sldM, vmx2=0.0<sldT, vmx3=0.0<slda, "
         "vocc=0.0<cvcp, vocl=1.0<revt, von0=20.0<sldD, von1=30.0<sldL, von2=40.0<sldS, von3=50.0<sldZ, "
         "vrx0=6.200000286102295<sldG, vrx1=5.800000190734863<sld0, vrx2=5.400000095367432<sldV, "
         "vrx3=5.0<sldc"},
};

// The old ids of Auto-Key's parameters and the ids its VST3 build reads.
const char* const kAutoPanIds[][2] = {
    {"bypa", "MasterBypass"}, {"vrpu", "InputType_ID"}, {"sld1", "RetuneSpeed_ID"}, {"kypu", "Key_ID"},
    {"scpu", "Scale_ID"}, {"butc", "CKey_ID"}, {"butC", "CSharpKey_ID"}, {"butd", "DKey_ID"},
    {"butD", "DSharpKey_ID"}, {"bute", "EKey_ID"}, {"butf", "FKey_ID"}, {"butF", "FSharpKey_ID"},
    {"butg", "GKey_ID"}, {"butG", "GSharpKey_ID"}, {"buta", "AKey_ID"}, {"butA", "ASharpKey_ID"},
    {"butb", "BKey_ID"}, {"papu", "Pattern_ID"}, {"busy", "HostSynch_ID"}, {"dil1", "GestureTempo_ID"},
    {"butr", "Trigger_ID"}, {"sld2", "PatternSpeed_ID"}, {"sld3", "Tracking_ID"}, {"dil7", "TempoSynchLen_ID"},
    {"HumK", "Humanize_ID"},
};

const char kParam[] = "<PARAM id=\"";

struct Row {
    std::string id;
    std::string fallback;
    std::string source;  // empty: none
};

std::vector<Row> rowsOf(const char* text) {
    std::vector<Row> rows;
    const std::string all = text;
    size_t start = 0;
    while (start < all.size()) {
        size_t end = all.find(", ", start);
        if (end == std::string::npos) end = all.size();
        const std::string item = all.substr(start, end - start);
        const size_t equals = item.find('=');
        const size_t from = item.find('<');
        Row row;
        row.id = item.substr(0, equals);
        row.fallback = item.substr(equals + 1, from == std::string::npos ? std::string::npos : from - equals - 1);
        if (from != std::string::npos) row.source = item.substr(from + 1);
        rows.push_back(std::move(row));
        start = end + 2;
    }
    return rows;
}

const AntaresRows* rowsFor(const std::string& signature) {
    for (const AntaresRows& rows : kAntaresRows) {
        if (signature == rows.signature) return &rows;
    }
    return nullptr;
}

}  // namespace

bool hasAntaresTable(const std::string& signature) { return rowsFor(signature) != nullptr; }

std::string renameAutoPanIds(std::string text) {
    for (const auto& pair : kAutoPanIds) {
        const std::string old = std::string(kParam) + pair[0] + "\"";
        const size_t at = text.find(old);
        if (at != std::string::npos) text.replace(at, old.size(), std::string(kParam) + pair[1] + "\"");
    }
    return text;
}

std::string rebuildAntaresParameters(const std::string& signature, const std::string& text) {
    const AntaresRows* table = rowsFor(signature);
    if (!table) return text;
    const size_t open = text.find("<Parameters><");
    if (open == std::string::npos) return text;
    const size_t close = text.find("</Parameters>", open);
    const size_t tagEnd = text.find('>', open + 12);
    if (close == std::string::npos || tagEnd == std::string::npos || tagEnd > close) return text;
    const std::string tag = text.substr(open + 12, tagEnd - open - 11);
    const size_t nameEnd = tag.find_first_of(" >", 1);
    const std::string name = tag.substr(1, nameEnd - 1);

    std::vector<std::pair<std::string, std::string>> values;
    for (size_t at = text.find(kParam, open); at != std::string::npos && at < close; at = text.find(kParam, at)) {
        const size_t idStart = at + std::strlen(kParam);
        const size_t idEnd = text.find('"', idStart);
        const size_t valueAt = idEnd == std::string::npos ? idEnd : text.find("value=\"", idEnd);
        const size_t valueEnd = valueAt == std::string::npos ? valueAt : text.find('"', valueAt + 7);
        if (valueEnd == std::string::npos) break;
        values.emplace_back(text.substr(idStart, idEnd - idStart), text.substr(valueAt + 7, valueEnd - valueAt - 7));
        at = valueEnd;
    }
    std::string rebuilt = "<Parameters>" + tag;
    for (const Row& row : rowsOf(table->rows)) {
        std::string value = row.fallback;
        for (const auto& [id, found] : values) {
            if (!row.source.empty() && id == row.source) {
                value = found;
                break;
            }
        }
        rebuilt += std::string(kParam) + row.id + "\" value=\"" + value + "\"/>";
    }
    rebuilt += "</" + name + ">";
    return text.substr(0, open) + rebuilt + text.substr(close);
}
