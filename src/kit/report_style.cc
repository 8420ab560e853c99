#include "kit/report_page.h"

const char kReportStyle[] = R"css(
:root{color-scheme:light dark;--paper:#fbfaf8;--tint:#f3f1ec;--ink:#1c2128;--soft:#5b6370;--rule:#dedbd3;--track:#e6e3dc;
--in:#2f6fb0;--out:#b97a1c;--grey:#8b93a1;--pale:#b9c9da;--bad:#b3261e;--good:#1d7a46}
@media(prefers-color-scheme:dark){:root{--paper:#14171b;--tint:#1c2026;--ink:#e4e2dc;--soft:#9aa2ae;--rule:#2d333b;
--track:#272c33;--in:#69a7e6;--out:#d8a04e;--grey:#7d8694;--pale:#3f5a77;--bad:#ff8a80;--good:#6cc58f}}
*{box-sizing:border-box}
html{-webkit-text-size-adjust:100%}
body{margin:0;background:var(--paper);color:var(--ink);font:15px/1.5 system-ui,-apple-system,"Segoe UI",Roboto,
"Noto Sans","DejaVu Sans",sans-serif;font-variant-numeric:tabular-nums;overflow-wrap:anywhere}
main{max-width:74rem;margin:0 auto;padding:2.5rem 1.25rem 2rem}
h1,h2,h3,p,dl,dd,ol,ul,figure{margin:0;padding:0}
h1{font-size:2.1rem;line-height:1.15;font-weight:650;letter-spacing:-.02em}
h2{font-size:1rem;font-weight:650}
h3{font-size:1rem;font-weight:600}
code{font:.8rem/1.5 ui-monospace,"Cascadia Mono",Consolas,"DejaVu Sans Mono",monospace;color:var(--soft)}
.eyebrow{color:var(--soft);margin-bottom:.4rem}
.address{margin-top:.35rem}
.verdict{margin-top:1.1rem;font-size:1.2rem;font-weight:600}
.verdict::before{content:"";display:inline-block;width:.65em;height:.65em;margin-right:.5em;border-radius:50%;
background:currentColor}
.soft{color:var(--soft)}.good{color:var(--good)}.bad{color:var(--bad)}
section{border-top:1px solid var(--rule);margin-top:1.9rem;padding-top:1.1rem}
.head{margin-bottom:.9rem}
.head p{color:var(--soft);font-size:.85rem;line-height:1.4;max-width:34rem}
.body{min-width:0}
.attention{list-style:none;display:grid;gap:.6rem}
.attention li{background:var(--tint);border-left:3px solid var(--bad);border-radius:2px;padding:.7rem .95rem}
.attention p{margin:.15rem 0 .2rem;max-width:46rem}
.now{display:grid;grid-template-columns:repeat(auto-fit,minmax(10.5rem,1fr));gap:1.1rem 1.5rem}
dt{color:var(--soft);font-size:.85rem}
dd:first-of-type{font-size:1.03rem;font-weight:600}
dd+dd{font-size:.9rem}
svg{display:block;width:100%}
.strips figure{display:grid;grid-template-columns:1fr;gap:.35rem;margin-bottom:1.1rem}
figcaption b{font-size:1.1rem;font-weight:650;margin-right:.35rem}
figcaption .what{margin-right:.15rem;font-weight:600}
figcaption .soft{font-size:.85rem}
.strip{height:72px;overflow:visible}
.s-in .strip{height:104px}
.s-duplicates .strip,.s-damaged .strip{height:36px}
.strip rect{fill:var(--c)}
.strip rect:hover{fill:var(--ink)}
.strip line{stroke:var(--rule);stroke-width:1px;vector-effect:non-scaling-stroke}
.s-in{--c:var(--in)}.s-out{--c:var(--out)}.s-duplicates{--c:var(--grey)}.s-damaged{--c:var(--bad)}
.months{display:flex;color:var(--soft);font-size:.8rem;margin-top:-.7rem}
.months span{flex:0 1 0;min-width:0;overflow:hidden;white-space:nowrap;border-left:1px solid var(--rule);padding-left:.3rem}
.months span:first-child{border-left-color:transparent;padding-left:0}
details{margin-top:1rem}
summary{color:var(--soft);cursor:pointer;width:fit-content}
.track{fill:var(--track)}
.bar{height:8px;border-radius:2px}
.thick .bar{height:18px;border-radius:3px}
.b-used,.f-stored{fill:var(--in);background:var(--in)}
.b-full,.f-damaged,.f-unaccounted{fill:var(--bad);background:var(--bad)}
.f-out,.f-dropped{fill:var(--out);background:var(--out)}
.f-removed,.f-waiting{fill:var(--pale);background:var(--pale)}
.f-duplicate,.f-unknown{fill:var(--grey);background:var(--grey)}
.key{display:inline-block;width:.7em;height:.7em;border-radius:2px;margin-right:.15em}
.sum{font-size:1.1rem;margin-bottom:.6rem}
.legend{list-style:none;display:grid;grid-template-columns:repeat(auto-fill,minmax(min(100%,19rem),1fr));gap:.25rem 1.5rem;
margin-top:.8rem}
.legend .soft{font-size:.85rem}
table{border-collapse:collapse;width:100%}
th{font-weight:500;color:var(--soft);font-size:.85rem;text-align:left;padding:.2rem .9rem .35rem 0;white-space:nowrap}
td,tbody th{border-top:1px solid var(--rule);padding:.42rem .9rem .42rem 0;vertical-align:baseline}
th:last-child,td:last-child{padding-right:0}
.n{text-align:right}
.weeks{margin-top:.5rem;width:auto}
.weeks th:not([scope=row]),.weeks td{text-align:right}
.weeks th:first-child{text-align:left}
tfoot td,tfoot th{border-top:1px solid var(--soft);font-weight:600;padding-top:.42rem}
.no,.took,.began,.first,.last,.day,.size,.messages,.in,.out,.dup{white-space:nowrap}
.name{min-width:13rem}
.name b{font-weight:600;margin-right:.3rem}
time{white-space:nowrap}
.used div{display:grid;grid-template-columns:minmax(5rem,1fr) 3.2rem;gap:.6rem;align-items:center;min-width:9rem}
.used span{text-align:right}
.used{width:30%}
.share{width:38%;vertical-align:middle}
.result::before{content:"";display:inline-block;width:.5em;height:.5em;border-radius:50%;background:currentColor;
margin-right:.5em;vertical-align:.1em}
footer{border-top:1px solid var(--rule);margin-top:1.9rem;padding-top:.9rem;color:var(--soft);font-size:.85rem}
@media(min-width:58rem){
section{display:grid;grid-template-columns:12rem minmax(0,1fr);gap:0 2.5rem}
.head{margin:0}
.strips figure{grid-template-columns:10.5rem minmax(0,1fr);gap:0 1.5rem;align-items:end}
figcaption .soft{display:block}
.months{margin-left:12rem}
}
@media(max-width:40rem){
main{padding:1.5rem 1rem}
h1{font-size:1.7rem}
.weeks{width:100%}
.weeks th,.weeks td{padding-right:.5rem;font-size:.85rem}
.conferences thead,.runs thead,.areas thead,.unknown thead{display:none}
.conferences,.runs,.areas,.unknown,.conferences tbody,.runs tbody,.areas tbody,.unknown tbody{display:block}
.conferences tr,.runs tr,.areas tr,.unknown tr{display:grid;gap:.1rem .8rem;align-items:baseline;padding:.6rem 0;
border-top:1px solid var(--rule)}
.conferences td,.runs td,.areas td,.unknown td{border:0;padding:0;min-width:0}
.conferences tr{grid-template:"no name messages" "no used used" "no size day"/1.6rem 1fr auto}
.no{grid-area:no;color:var(--soft)}.name{grid-area:name}.messages{grid-area:messages}.used{grid-area:used;width:auto}
.size{grid-area:size;text-align:left;color:var(--soft)}.day{grid-area:day;text-align:right}
.messages::after{content:" msgs";color:var(--soft)}
.day::before{content:"full: ";color:var(--soft)}
.runs tr{grid-template:"began mode took" "result did did"/10rem 1fr auto}
.began{grid-area:began}.mode{grid-area:mode}.took{grid-area:took}.result{grid-area:result}.did{grid-area:did}
.areas tr{grid-template:"name name name" "in out dup" "share share share"/auto auto 1fr}
.areas .in::after{content:" in";color:var(--soft)}.areas .out::after{content:" out";color:var(--soft)}
.areas .dup::after{content:" dupl.";color:var(--soft)}.areas .n{text-align:left}
.in{grid-area:in}.out{grid-area:out}.dup{grid-area:dup}.share{grid-area:share;width:auto;padding-top:.3rem!important}
.unknown tr{grid-template:"name name messages" "first last last"/auto auto 1fr}
.first{grid-area:first}.last{grid-area:last}
.first::before{content:"first ";color:var(--soft)}.last::before{content:"last ";color:var(--soft)}
}
@media print{section{break-inside:avoid}}
)css";
